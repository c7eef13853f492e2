#include "decode/oddities.h"

#include <algorithm>

#include "decode/reading.h"
#include "decode/record_layout.h"

namespace cellwarden::decode {
namespace {

bool is_odd(std::string_view name, FieldUnit unit, int64_t stored) {
    constexpr int64_t FULL_HEALTH_MILLI = 100'000;
    constexpr int64_t HALF_UNITS = 2;
    constexpr int64_t HIGHEST_LEVEL = 5;
    constexpr int64_t FULL_CHARGE = 100;
    constexpr int64_t CLOCK_IS_SET = 1'483'228'800;  // 2017-01-01, as in the daemon
    constexpr int64_t YEAR_10000 = 253'402'300'800;
    // The raw state of health can exceed the design capacity.
    const bool is_raw = name.ends_with("raw_soh") || name.starts_with("raw_soh");
    switch (unit) {
        case FieldUnit::HALF_SOH:
            return !is_raw && stored > FULL_HEALTH_MILLI / HALF_UNITS;
        case FieldUnit::MILLI_SOH:
            return !is_raw && stored > FULL_HEALTH_MILLI;
        case FieldUnit::LEVEL:
            return stored > HIGHEST_LEVEL && stored != UINT8_MAX && stored != UINT32_MAX;
        case FieldUnit::PERCENT:
            return stored > FULL_CHARGE;
        case FieldUnit::ONLINE_S:
            return stored < 0 || stored > INT32_MAX;
        case FieldUnit::WALL_S:
            return stored != 0 && (stored < CLOCK_IS_SET || stored >= YEAR_10000);
        default:
            return false;
    }
}

std::string oddity_text(const std::string& place, FieldUnit unit, int64_t stored) {
    return place + ": " + std::to_string(stored) + " is outside the range of its unit (" +
           reading_text(unit, stored) + ")";
}

}  // namespace

std::vector<std::string> oddities_of(const BattStat& stat) {
    std::vector<std::string> oddities;
    for (const RecordField& field : record_fields()) {
        for (size_t i = 0; i < field.count; i++) {
            const int64_t stored = stored_value(stat, field, i);
            if (is_odd(field.name, field.unit, stored)) {
                const size_t offset = field.offset + i * field.stride;
                oddities.push_back(oddity_text(
                    "offset " + offset_text(offset) + ", " + place_of(offset), field.unit, stored));
            }
        }
    }
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&stat);
    for (const ReservedBytes& gap : reserved_bytes()) {
        const uint8_t* const start = bytes + gap.offset;
        const uint8_t* const found =
            std::find_if(start, start + gap.size, [](uint8_t byte) { return byte != 0; });
        if (found != start + gap.size) {
            oddities.push_back("offset " + offset_text(static_cast<size_t>(found - bytes)) +
                               ", reserved bytes: " + std::to_string(*found) + ", expected 0");
        }
    }
    return oddities;
}

std::vector<std::string> oddities_of(const Event& event) {
    std::vector<std::string> oddities;
    for (const EventField& field : event.fields) {
        for (size_t i = 0; i < field.values.size(); i++) {
            const auto stored = number_of(field.values[i]);
            if (stored && is_odd(field.name, field.unit, *stored)) {
                oddities.push_back(oddity_text(place_of(field, i), field.unit, *stored));
            }
        }
    }
    return oddities;
}

}  // namespace cellwarden::decode

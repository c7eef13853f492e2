#include "decode/reading.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "state/facts.h"

namespace cellwarden::decode {
namespace {

constexpr int64_t SECONDS_PER_MINUTE = 60;

struct ReadingForm {
    const char* text;
    double per_unit;  // stored numbers in one reading unit
    int digits;       // digits after the point
};

ReadingForm row_of(FieldUnit unit) {
    switch (unit) {
        case FieldUnit::MAH:
            return {"mAh", 1, 0};
        case FieldUnit::WALL_S:
        case FieldUnit::ONLINE_S:
        case FieldUnit::SECONDS:
            return {"s", 1, 0};
        case FieldUnit::HALF_SOH:
            return {"%", 500, 3};
        case FieldUnit::MILLI_SOH:
            return {"%", 1000, 3};
        case FieldUnit::MICROPERCENT:
            return {"%", 1e6, 6};
        case FieldUnit::PERCENT:
            return {"%", 1, 0};
        case FieldUnit::SOC:
            return {"full charges", 1e4, 4};
        case FieldUnit::MA:
            return {"mA", 1, 0};
        case FieldUnit::DECIC:
            return {"degC", 10, 1};
        case FieldUnit::CELL_MV:
            return {"mV", 1, 0};
        case FieldUnit::UV:
            return {"V", 1e6, 6};
        case FieldUnit::ARRHENIUS:
            return {"s at 45 degC and 4.48 V", 1, 0};
        default:
            return {"", 1, 0};
    }
}

bool is_undecided(int64_t level) {
    return level == UINT8_MAX || level == UINT32_MAX;
}

bool is_no_temperature(int64_t decic) {
    return decic == INT16_MIN || decic == INT16_MAX;
}

std::string duration_text(int64_t seconds) {
    char text[64];
    const int64_t rest = seconds % SECONDS_PER_DAY;
    (void)snprintf(text, sizeof text, "%" PRId64 " d %02" PRId64 ":%02" PRId64 ":%02" PRId64,
                   seconds / SECONDS_PER_DAY, rest / SECONDS_PER_HOUR,
                   rest % SECONDS_PER_HOUR / SECONDS_PER_MINUTE, rest % SECONDS_PER_MINUTE);
    return seconds < 0 ? std::to_string(seconds) + " s" : text;
}

// The high half of the override is its kind, the low half the level.
std::string override_text(int64_t code) {
    constexpr int64_t SUSPENDED = 0xE;
    constexpr int64_t FIXED_LEVEL = 0xD;
    char hex[16];
    (void)snprintf(hex, sizeof hex, "0x%02" PRIX64, static_cast<uint64_t>(code));
    const int64_t high = code >> 4;
    if (high == SUSPENDED) {
        return std::string(hex) + ", soft charge is suspended";
    }
    return high == FIXED_LEVEL
               ? std::string(hex) + ", the driver is given level " + std::to_string(code & 0xF)
               : std::string(hex) + ", no override";
}

bool is_date(int64_t wall_s) {
    return wall_s >= 0 && wall_s <= LAST_SECOND;
}

std::string time_text(int64_t wall_s, const char* format) {
    const time_t seconds = wall_s;
    struct tm utc = {};
    char text[40];
    (void)strftime(text, sizeof text, format, gmtime_r(&seconds, &utc));
    return text;
}

// Returns "2026-03-01 07:12:45 UTC"; a time before 1970 or after 9999 as its number of seconds.
std::string date_text(int64_t wall_s) {
    return is_date(wall_s) ? time_text(wall_s, "%Y-%m-%d %H:%M:%S UTC")
                           : std::to_string(wall_s) + " s since 1970";
}

}  // namespace

const char* reading_unit(FieldUnit unit) {
    return row_of(unit).text;
}

double reading_number(FieldUnit unit, int64_t stored) {
    return static_cast<double>(stored) / row_of(unit).per_unit;
}

nlohmann::ordered_json reading_json(FieldUnit unit, int64_t stored) {
    if (unit == FieldUnit::WALL_S) {
        return stored == 0 || !is_date(stored)
                   ? nlohmann::ordered_json()
                   : nlohmann::ordered_json(time_text(stored, "%Y-%m-%dT%H:%M:%SZ"));
    }
    if ((unit == FieldUnit::LEVEL && is_undecided(stored)) ||
        (unit == FieldUnit::DECIC && is_no_temperature(stored))) {
        return {};
    }
    return row_of(unit).per_unit == 1 ? nlohmann::ordered_json(stored)
                                      : nlohmann::ordered_json(reading_number(unit, stored));
}

std::string reading_text(FieldUnit unit, int64_t stored) {
    switch (unit) {
        case FieldUnit::WALL_S:
            return stored == 0 ? "not yet" : date_text(stored);
        case FieldUnit::ONLINE_S:
        case FieldUnit::SECONDS:
            return stored == 0 ? "0" : duration_text(stored);
        case FieldUnit::CODE:
            return override_text(stored);
        case FieldUnit::LEVEL:
            return is_undecided(stored) ? "not decided" : std::to_string(stored);
        case FieldUnit::DECIC:
            if (is_no_temperature(stored)) {
                return "none yet";
            }
            break;
        default:
            break;
    }
    const ReadingForm row = row_of(unit);
    char text[64];
    (void)snprintf(text, sizeof text, "%.*f%s%s", row.digits, reading_number(unit, stored),
                   row.text[0] == '\0' ? "" : " ", row.text);
    return text;
}

std::string plain_number(double number, int digits) {
    char text[64];
    (void)snprintf(text, sizeof text, "%.*f", digits, number);
    std::string result = text;
    if (digits > 0) {
        result.erase(result.find_last_not_of('0') + 1);
        if (result.ends_with('.')) {
            result.pop_back();
        }
    }
    return result;
}

std::string offset_text(size_t offset) {
    char text[24];
    (void)snprintf(text, sizeof text, "0x%04zX", offset);
    return text;
}

std::string grouped(uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, ",");
    }
    return text;
}

}  // namespace cellwarden::decode

// Loads the past of a phone, and fits a profile to it.
#include <algorithm>

#include "common/input.h"
#include "decode/battery_history.h"
#include "decode/event.h"
#include "decode/oddities.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "phone/stand_in.h"
#include "platform/sysfs_params.h"
#include "product/phone.h"
#include "state/facts.h"
#include "tools/lifetime/past.h"
#include "tools/lifetime/provenance.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

constexpr int64_t YEAR_2038_S = 2'145'916'800;
constexpr double SAME_DESIGN = 0.01;
constexpr double SMALLEST_MAH = 100;  // as in a profile
constexpr double LARGEST_MAH = 20'000;
constexpr double SMALLEST_PERCENT = 10;
constexpr double LARGEST_PERCENT = 120;

// Throws if a value that the daemon would go on with is odd. Times of day and reserved bytes are
// only copied.
void refuse_odd_values(const Past& past) {
    BattStat judged = past.stat;
    auto* const bytes = reinterpret_cast<uint8_t*>(&judged);
    for (const decode::RecordField& field : decode::record_fields()) {
        if (field.unit == decode::FieldUnit::WALL_S) {
            std::fill_n(bytes + field.offset, field.count * field.element_size, uint8_t{0});
        }
    }
    for (const decode::ReservedBytes& gap : decode::reserved_bytes()) {
        std::fill_n(bytes + gap.offset, gap.size, uint8_t{0});
    }
    const std::vector<std::string> oddities = decode::oddities_of(judged);
    if (!oddities.empty()) {
        throw InputError(past.name + ": no life can go on from it: " + oddities.front());
    }
}

// Returns the latest time that a record shows. It does not hold when it was stored; the online time
// since the statistics became established is a lower limit unless the phone was restarted then.
std::optional<int64_t> latest_time(const decode::BatteryHistory& history) {
    if (history.sent_s) {
        return history.sent_s;
    }
    int64_t latest = 0;
    for (const decode::RecordField& field : decode::record_fields()) {
        for (size_t i = 0; i < field.count && field.unit == decode::FieldUnit::WALL_S; i++) {
            latest = std::max(latest, decode::stored_value(history.stat, field, i));
        }
    }
    const uint64_t established_s = history.stat.initialized_time;
    if (established_s != 0 && established_s < YEAR_2038_S) {
        latest = std::max(latest, static_cast<int64_t>(established_s) + history.stat.online_time);
    }
    for (const decode::Connection& connection : history.connections) {
        latest = std::max(latest, connection.time_s.value_or(0));
    }
    return wall_clock_is_set(latest) ? std::optional(latest) : std::nullopt;
}

bool is_model(const std::string& name) {
    const SysfsEnumEntry* row = SysfsParamTable[PARAM_BATTERY_MODEL_NAME].enum_table;
    while (row->text != nullptr && name != row->text) {
        row++;
    }
    return row->text != nullptr;
}

// Returns the design capacity with which the learned capacity has the record's state of health; 0
// if the record does not show one.
double design_of(const BattStat& stat) {
    return stat.latest_raw_soh == 0
               ? 0
               : stat.fcc_mah[0] * double{FULL_SOH} / from_half_units(stat.latest_raw_soh);
}

// The units that go on, and their sizes.
constexpr std::pair<Unit, size_t> UNITS[] = {{UNIT_HEAT_TIME, 8},
                                             {UNIT_HEAT_COUNT, 1},
                                             {UNIT_PRODUCTION_DATE, 6},
                                             {UNIT_FIRST_USAGE_DATE, 4}};

// Returns the units beside a record; those of another size are left out.
std::map<uint32_t, std::string> units_in(const fs::path& folder) {
    std::map<uint32_t, std::string> units;
    for (const auto& [unit, size] : UNITS) {
        const fs::path file = folder / std::to_string(unit);
        if (fs::exists(file)) {
            const std::vector<uint8_t> bytes = read_input(file);
            if (bytes.size() == size) {
                units[unit] = {bytes.begin(), bytes.end()};
            }
        }
    }
    return units;
}

// Returns the units that an ageing event describes.
std::map<uint32_t, std::string> units_of(const decode::Event& event) {
    std::map<uint32_t, std::string> units;
    const auto store = [&](Unit unit, const char* name, size_t size) {
        const decode::EventField* const field = decode::find_field(event, name);
        if (const auto number = field ? decode::number_of(field->values.front()) : std::nullopt) {
            units[unit] = bytes_of(*number).substr(0, size);
        }
    };
    store(UNIT_HEAT_COUNT, "usb_connector_heat_count", 1);
    store(UNIT_HEAT_TIME, "usb_connector_heat_time", 8);
    return units;
}

std::map<uint32_t, std::string> units_of(const std::string& path,
                                         const decode::BatteryHistory& history) {
    if (fs::is_directory(path) && !decode::record_in(path).empty()) {
        return units_in(decode::record_in(path).parent_path());
    }
    const bool is_event = history.ageing_events > 0;
    return is_event ? units_of(decode::decode_event(history.bytes, decode::event_names().front()))
                    : std::map<uint32_t, std::string>{};
}

std::string mah_text(double mah) {
    return decode::plain_number(mah, 0) + " mAh";
}

}  // namespace

Past load_past(const std::string& path, const std::vector<std::string>& phones,
               const decode::RefuseEvent& refuse) {
    decode::BatteryHistory history = decode::load_histories({path, phones, 1, refuse}).front();
    if (history.bytes.empty()) {
        throw InputError(path + ": has charger connections, but no ageing event to go on from");
    }
    Past past{.name = path,
              .source = history.source,
              .digest = digest_of(
                  {reinterpret_cast<const char*>(history.bytes.data()), history.bytes.size()}),
              .stat = history.stat,
              .units = units_of(path, history),
              .latest_s = latest_time(history),
              .missing = {history.missing.begin(), history.missing.end()},
              .oddities = std::move(history.oddities)};
    refuse_odd_values(past);
    return past;
}

Profile profile_of(Profile profile, const Past& past) {
    if (past.latest_s) {
        if (*past.latest_s >= YEAR_2038_S) {
            throw InputError(past.name + ": its latest time is " +
                             decode::reading_text(decode::FieldUnit::WALL_S, *past.latest_s) +
                             ", expected one up to 2037");
        }
        profile.start_wall_s =
            (*past.latest_s + SECONDS_PER_DAY - 1) / SECONDS_PER_DAY * SECONDS_PER_DAY;
    }
    const std::string model =
        decode::stored_text(past.stat, *decode::find_record_field("battery_model_name"));
    if (is_model(model)) {
        profile.battery_model = model;
    }
    const double design = design_of(past.stat);
    if (design > 0 && std::abs(design / profile.design_mah - 1) > SAME_DESIGN) {
        profile.design_mah = design;
    }
    const double percent = 100 * past.stat.fcc_mah[0] / profile.design_mah;
    if (past.stat.fcc_mah[0] != 0 &&
        (profile.design_mah < SMALLEST_MAH || profile.design_mah > LARGEST_MAH ||
         percent < SMALLEST_PERCENT || percent > LARGEST_PERCENT)) {
        throw InputError(past.name + ": fcc_mah[0]: a learned capacity of " +
                         mah_text(past.stat.fcc_mah[0]) + " of " + mah_text(profile.design_mah) +
                         ", expected 10 to 120 % of 100 to 20000 mAh");
    }
    profile.capacity_percent = std::max(profile.capacity_percent, percent);
    return profile;
}

}  // namespace cellwarden::lifetime

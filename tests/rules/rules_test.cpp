// Runs tables of calls. Each .csv file here contains the cases of the rules in the source file of the same name. A line
//     rule NAME; given
// begins the cases of a rule. Each case is a line
//     name; before; now; changes; effects
// `before` is "first" for the rule's first call after start-up, or "then" for a call after that of the line above;
// otherwise it is the input of a preparing first call, whose changes are not checked. `now` is the additional input of
// the call. `changes` lists every field that changes, `effects` every log line, write and event in order, separated by
// " + ". Fields that a row does not list must not change.
//
// Inputs are attributes by the end of their path, fields of the record, of the connection and (with their group) of the
// working state, unit_2804=(bytes in hexadecimal or 'text'), imei_1, boot and wall (the clocks) or seconds (since the
// previous call; default 60), and, for one call only, unreadable_units, unwritable_units, refusing (an attribute) and
// event_library=missing. A word without '=' belongs to the value before it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>

#include "charge/ageing_models.h"
#include "charge/device_modes.h"
#include "charge/soft_charge.h"
#include "cycle/cycle.h"
#include "passport/passport.h"
#include "platform/sysfs_io.h"
#include "stats/batt_stat_store.h"
#include "stats/batt_stat_update.h"
#include "support/phone.h"
#include "support/record.h"
#include "support/rows.h"
#include "telemetry/charger_connection.h"
#include "telemetry/reports.h"

namespace cellwarden {
namespace {

using namespace test;

struct World {
    ServiceState state;
    BattStat record;
    ChgInsertionRemovalData connection;
    SysfsParams snapshot;
};

// A rule, called with the parts of the world that it requests.
using Rule = std::function<void(World& w)>;

template <typename Result, typename... Parts>
Rule rule(Result (*function)(Parts...)) {
    return [=](World& w) {
        ServiceState& state = w.state;
        Device phones = device;
        Policy policy = POLICY;
        StatStep step{device, state, w.snapshot, state.stat_update, w.record};
        const auto parts =
            std::tuple(&phones, &policy, &step, &state, &state.usage, &state.usage.online_time, &state.ageing,
                       &state.levels, &state.health, &w.record, &w.connection, &w.snapshot);
        (void)function(*std::get<std::remove_cvref_t<Parts>*>(parts)...);
    };
}

#define EVERY_RULE(R)                                                                                            \
    R(update_established_time), R(update_model_name), R(update_capacity_history), R(update_charging_time),       \
        R(update_smart_charge_time), R(update_warm_time), R(update_fast_charge_time), R(update_fast_charge_soc), \
        R(update_shutdown_count), R(update_shutdown_capacity), R(update_charger_classes), R(update_extremes),    \
        R(update_discharge_time), R(update_thermal_ranges), R(update_batt_stat), R(copy_soft_charge_history),    \
        R(save_batt_stat_if_is_timing), R(handle_tessera), R(set_restored_capacity), R(control_lrc_mode),        \
        R(control_soft_charge), R(decide_arrhenius_level), R(decide_full_stay_level), R(update_soh),             \
        R(update_soh_estimates), R(update_user_charge_full), R(update_eu_eco_system_values),                     \
        R(set_chg_insertion_removal_data), R(init_chg_insertion_removal_data),                                   \
        R(save_usb_connector_heat_data_if_is_timing), R(send_ondra_batt_degr2_if_is_timing),                     \
        R(send_ondra_chg_insertion_removal_if_is_timing), R(update_full_stay_degradation), R(load_records),      \
        R(run_full_cycle)

const std::map<std::string, Rule> RULES = {
#define RULE(name) \
    { #name, rule(name) }
    EVERY_RULE(RULE)};
#undef RULE

// --- Fields by name, their values as text

struct Field {
    std::function<std::string(World& w)> get;
    std::function<void(World& w, const std::string& text)> set;
};
using Fields = std::map<std::string, Field>;

template <typename Value>
std::string text_of(const Value& value) {
    if constexpr (std::is_integral_v<Value>) {
        return std::to_string(value);
    } else {
        return std::to_string(static_cast<double>(value));
    }
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (size_t at = text.find(what); at != text.npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

template <typename Member>
void add(Fields& fields, const std::string& name, Member member) {
    using Value = std::remove_reference_t<decltype(member(std::declval<World&>()))>;
    if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, extended>) {
        fields[name] = {[=](World& w) { return text_of(member(w)); },
                        [=](World& w, const std::string& text) { member(w) = static_cast<Value>(std::stold(text)); }};
    } else if constexpr (std::is_same_v<std::decay_t<decltype(std::declval<Value>()[0])>, char>) {
        // A text ends at its first NUL. A fixed field is shown without trailing NULs; other NULs are shown as \0.
        fields[name] = {[=](World& w) {
                            const std::string bytes(&member(w)[0], sizeof(Value));
                            const size_t size =
                                std::is_array_v<Value> ? bytes.find('\0') : bytes.find_last_not_of('\0') + 1;
                            return replaced(bytes.substr(0, size), std::string(1, '\0'), "\\0");
                        },
                        [=](World& w, const std::string& text) {
                            const std::string bytes = replaced(text, "\\0", std::string(1, '\0'));
                            std::fill_n(&member(w)[0], sizeof(Value), '\0');
                            bytes.copy(&member(w)[0], sizeof(Value));
                        }};
    } else {
        for (size_t i = 0; i < std::size(Value{}); i++) {
            add(
                fields, name + "[" + std::to_string(i) + "]", [=](World & w) -> auto& { return member(w)[i]; });
        }
    }
}

#define STATE_FIELDS(F)                                                                                            \
    F(settings.vendor_model), F(usage.online_time), F(usage.soh), F(usage.total_cycle_count),                      \
        F(ageing.total_arrhenius), F(ageing.arrhenius_per_10days), F(ageing.soc_full_total_time),                  \
        F(ageing.total_full_stay_cap_degradation), F(ageing.full_stay_capacity_degradation_per_10days),            \
        F(ageing.total_cycle_degradation), F(levels.soft_charge_mode), F(levels.soft_charge1_level),               \
        F(levels.arrhenius_lv), F(levels.full_stay_capacity_degradation_aging_lv), F(levels.soft_charge_override), \
        F(health.latest_raw_soh), F(health.latest_filtered_soh), F(health.latest_predicted_soh),                   \
        F(health.latest_user_soh), F(health.prev_soh_bucket_index), F(health.prev_bucket_user_soh),                \
        F(health.user_charge_full), F(hold.lrc_hold_active), F(hold.lrc_upper_soc), F(hold.lrc_lower_soc),         \
        F(hold.lrc_state), F(restore.restored_capacity_applied), F(restore.restore_capacity_mah),                  \
        F(heat.usb_connector_heat_count), F(heat.usb_connector_heat_time), F(heat.last_heat_save_time),            \
        F(connection.usb_long_insertion_counter), F(passport.production_date_fix_pending),                         \
        F(passport.production_date_published), F(passport.first_usage_date_published)
#define CONNECTION_FIELDS(F)                                                                                        \
    F(learning_flg), F(battery_care_flg), F(charger_type), F(inserted_soc), F(removal_soc), F(inserted_sc_stage),   \
        F(removal_sc_stage), F(moment_max_usbin_voltage), F(moment_max_vbatt), F(icl_min_counter), F(wlc_epp_txid), \
        F(wlc_ping_freq), F(wlc_potential_power), F(thermal_level_time), F(usb_insertion_time), F(usb_state),       \
        F(wls_state), F(wlc_guaranteed_power), F(usb_connector_heat_flg)

const Fields& fields() {
    static const Fields all = [] {
        Fields map;
#define STATE(path) \
    add(            \
        map, #path, [](World & w) -> auto& { return w.state.path; })
#define CONNECTION(name) \
    add(                 \
        map, #name, [](World & w) -> auto& { return w.connection.name; })
        STATE_FIELDS(STATE);
        CONNECTION_FIELDS(CONNECTION);
#undef STATE
#undef CONNECTION
        add(
            map, "battery_model_name", [](World & w) -> auto& { return w.record.battery_model_name; });
        return map;
    }();
    return all;
}

// --- Texts of the tables

using Values = std::map<std::string, std::string>;

Values values_of_text(const std::string& text) {
    Values values;
    std::string* latest = nullptr;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        if (equals != word.npos) {
            latest = &(values[word.substr(0, equals)] = word.substr(equals + 1));
        } else if (latest != nullptr) {
            *latest += " " + word;
        }
    }
    return values;
}

std::string text_of_values(const Values& values) {
    std::string text;
    for (const auto& [name, value] : values) {
        text += (text.empty() ? "" : " ") + name + "=" + value;
    }
    return text;
}

std::string bytes_of_text(const std::string& text) {
    if (text.starts_with('\'')) {
        return replaced(text.substr(1, text.size() - 2), "\\0", std::string(1, '\0'));
    }
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::set<uint32_t> units_of_text(const std::string& text) {
    std::set<uint32_t> units;
    std::istringstream numbers(text);
    for (std::string number; std::getline(numbers, number, ',');) {
        units.insert(static_cast<uint32_t>(std::stoul(number)));
    }
    return units;
}

std::string hex_of(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        hex += "0123456789ABCDEF"[static_cast<uint8_t>(byte) >> 4];
        hex += "0123456789ABCDEF"[byte & 0xF];
    }
    return hex;
}

// Returns all effects except reads of units; short written units with their bytes.
std::string effects() {
    std::string text;
    const Calls lines = calls();
    for (size_t i = 0; i < lines.size(); i++) {
        const Effect& effect = phone.effects[i];
        if (effect.kind != Effect::Kind::UNIT_READ) {
            const bool with_bytes = effect.kind == Effect::Kind::UNIT_WRITE && effect.bytes.size() <= 8;
            text += (text.empty() ? "" : " + ") + replaced(lines[i], "\n", "\\n") +
                    (with_bytes ? " = " + hex_of(effect.bytes) : "");
        }
    }
    return text;
}

// --- The calls of a table

class Table : public testing::Test {
  public:
    explicit Table(std::filesystem::path file) : file_(std::move(file)) {}

    void TestBody() override {
        for (Row row : values_of(file_)) {
            row.resize(5);
            if (row[0].starts_with("rule ")) {
                rule_ = row[0].substr(5);
                common_ = row[1];
                ASSERT_TRUE(RULES.contains(rule_)) << rule_;
            } else {
                SCOPED_TRACE(file_.filename().string() + ", rule " + rule_ + ", row \"" + row[0] +
                             "\"\n  given: " + common_ + "\n  before: " + row[1] + "\n  now: " + row[2]);
                run_row(row);
            }
        }
    }

  private:
    void run_row(const Row& row) {
        if (row[1] != "then") {
            start();
            give(common_);
            if (row[1] != "first") {
                give(row[1]);
                call(0);
            }
        }
        give(row[2]);
        World before = world_;
        call(seconds_);
        expect("changes", text_of_values(changes_since(before)), text_of_values(values_of_text(row[3])));
        expect("effects", effects(), row[4]);
    }

    static void expect(const char* what, const std::string& came, const std::string& wanted) {
        if (came != wanted) {
            ADD_FAILURE() << what << "\n  came:   " << came << "\n  wanted: " << wanted;
        }
    }

    void start() {
        setenv("TZ", "AHEAD-9", 1);  // dates are in UTC wherever the phone is
        phone = StandIn{};
        for (const SysfsParamDesc& desc : SysfsParamTable) {
            if (desc.path_is_generated == 0) {
                phone.attributes[desc.path] = "";
            }
        }
        world_ = {};
        reset_batt_stat(world_.record);
        boot_ = 1000;
        wall_offset_ = 0x1'0000'0000;  // the low 32 bits of the wall clock are those of the boot clock
    }

    void give(const std::string& text) {
        phone.failing_reads.clear();
        phone.failing_writes.clear();
        phone.refusing_attributes.clear();
        phone.ondra_missing = false;
        seconds_ = 60;
        for (const auto& [name, value] : values_of_text(text)) {
            give(name, value);
        }
    }

    void give(const std::string& name, const std::string& value) {
        if (name == "seconds") {
            seconds_ = std::stoll(value);
        } else if (name == "boot") {
            seconds_ = std::stoll(value) - boot_;
        } else if (name == "wall") {
            wall_offset_ = std::stoll(value) - boot_ - seconds_;
        } else if (name == "unreadable_units") {
            phone.failing_reads = units_of_text(value);
        } else if (name == "unwritable_units") {
            phone.failing_writes = units_of_text(value);
        } else if (name == "refusing") {
            phone.refusing_attributes = {path_of(value)};
        } else if (name == "event_library") {
            phone.ondra_missing = value == "missing";
        } else if (name.starts_with("unit_")) {
            phone.units[static_cast<uint32_t>(std::stoul(name.substr(5)))] = bytes_of_text(value);
        } else if (name.starts_with("imei_")) {
            phone.imei[std::stoi(name.substr(5))] = value == "-" ? std::nullopt : std::optional<std::string>(value);
        } else if (!set_fields(name, value)) {
            phone.attributes[path_of(name)] = value + "\n";
        }
    }

    // A name without an index stands for every element.
    bool set_fields(const std::string& name, const std::string& value) {
        bool found = false;
        for (auto field = fields().lower_bound(name);
             field != fields().end() && (field->first == name || field->first.starts_with(name + "[")); field++) {
            field->second.set(world_, value);
            found = true;
        }
        for (const RecordElement& element : record_elements()) {
            if (!found && element.name == name) {
                set_element(world_.record, name, std::stoll(value));
                return true;
            }
        }
        return found;
    }

    static std::string path_of(const std::string& end) {
        std::set<std::string> paths;
        for (const auto& [path, text] : phone.attributes) {
            if (path.ends_with("/" + end)) {
                paths.insert(path);
            }
        }
        EXPECT_EQ(paths.size(), 1U) << "attributes and fields called " << end;
        return paths.empty() ? "" : *paths.begin();
    }

    void call(int64_t seconds) {
        SysfsReadMask all;
        all.fill(1);
        read_sysfs_params(device, world_.snapshot, all);
        clear_calls();
        boot_ += seconds;
        world_.state.clock = {boot_, boot_ + wall_offset_};
        RULES.at(rule_)(world_);
        cleanup_sysfs_params(world_.snapshot);
    }

    Values changes_since(World& before) {
        Values changed = values_of_text(changes(before.record, world_.record));
        std::erase_if(changed, [](const auto& element) { return element.first.starts_with("battery_model_name["); });
        for (const auto& [name, field] : fields()) {
            const std::string value = field.get(world_);
            if (value != field.get(before)) {
                changed[name] = value;
            }
        }
        return changed;
    }

    std::filesystem::path file_;
    std::string rule_, common_;
    World world_{};
    int64_t boot_ = 0, seconds_ = 60, wall_offset_ = 0;
};

const bool TABLES_ARE_REGISTERED = [] {
    for (const auto& entry : std::filesystem::directory_iterator(RULE_TABLES)) {
        if (entry.path().extension() == ".csv") {
            testing::RegisterTest("Rules", entry.path().stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [file = entry.path()] { return new Table(file); });
        }
    }
    return true;
}();

}  // namespace
}  // namespace cellwarden

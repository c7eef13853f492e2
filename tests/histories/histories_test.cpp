// Histories of phones, each with the effects, the record and the working state expected after every cycle, computed by
// an independent model. One test per history; a difference names the history, the cycle, its input, and the field or
// effect.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "cycle/cycle.h"
#include "decode/event.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "support/record.h"

namespace cellwarden {
namespace {

using namespace test;
using Json = nlohmann::json;

// --- The encodings of the histories

// Returns the elements of an array; a pair [value, count] represents a run of equal elements.
Json expanded(const Json& value) {
    if (!value.is_array()) {
        return value;
    }
    Json elements = Json::array();
    for (const Json& element : value) {
        if (element.is_array()) {
            elements.insert(elements.end(), element[1].get<size_t>(), element[0]);
        } else {
            elements.push_back(element);
        }
    }
    return elements;
}

std::string bytes_of_hex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string hex_of(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        hex += "0123456789abcdef"[static_cast<uint8_t>(byte) >> 4];
        hex += "0123456789abcdef"[byte & 0xF];
    }
    return hex;
}

void set_fields(BattStat& record, const Json& fields) {
    for (const auto& [name, value] : fields.items()) {
        if (value.is_string()) {
            record.battery_model_name.fill('\0');
            value.get<std::string>().copy(record.battery_model_name.data(), record.battery_model_name.size() - 1);
        } else if (value.is_array()) {
            size_t i = 0;
            for (const Json& element : expanded(value)) {
                set_element(record, name + "[" + std::to_string(i++) + "]", element.get<int64_t>());
            }
        } else {
            set_element(record, name, value.get<int64_t>());
        }
    }
}

// The working state, by the names that the histories use.
struct StateField {
    const char* name;
    int64_t (*value)(const ServiceState& state);
};

#define WORKING(name, member)                                                              \
    {                                                                                      \
        name, [](const ServiceState& state) { return static_cast<int64_t>(state.member); } \
    }
constexpr StateField STATE_FIELDS[] = {WORKING("soft_charge_mode", levels.soft_charge_mode),
                                       WORKING("online_time", usage.online_time),
                                       WORKING("soh", usage.soh),
                                       WORKING("total_cycle_count", usage.total_cycle_count),
                                       WORKING("soft_charge1_level", levels.soft_charge1_level),
                                       WORKING("soc_full_total_time", ageing.soc_full_total_time),
                                       WORKING("latest_raw_soh", health.latest_raw_soh),
                                       WORKING("latest_filtered_soh", health.latest_filtered_soh),
                                       WORKING("latest_predicted_soh", health.latest_predicted_soh),
                                       WORKING("latest_user_soh", health.latest_user_soh),
                                       WORKING("prev_soh_bucket_index", health.prev_soh_bucket_index),
                                       WORKING("prev_bucket_user_soh", health.prev_bucket_user_soh),
                                       WORKING("user_charge_full", health.user_charge_full),
                                       WORKING("restored_capacity_applied", restore.restored_capacity_applied),
                                       WORKING("restore_capacity_mah", restore.restore_capacity_mah),
                                       WORKING("lrc_hold_active", hold.lrc_hold_active),
                                       WORKING("lrc_upper_soc", hold.lrc_upper_soc),
                                       WORKING("lrc_lower_soc", hold.lrc_lower_soc),
                                       WORKING("lrc_state", hold.lrc_state),
                                       WORKING("usb_long_insertion_counter", connection.usb_long_insertion_counter),
                                       WORKING("usb_connector_heat_count", heat.usb_connector_heat_count),
                                       WORKING("usb_connector_heat_time", heat.usb_connector_heat_time),
                                       WORKING("production_date_fix_pending", passport.production_date_fix_pending),
                                       WORKING("last_stat_save_time", stat_save.last_stat_save_time),
                                       WORKING("last_heat_save_time", heat.last_heat_save_time)};
#undef WORKING

// --- Differences of a history: shows the first few, counts the others.
class Differences {
  public:
    void start_step(std::string where, const Json& given) {
        where_ = std::move(where);
        given_ = given.dump();
    }
    void add(const std::string& what, const Json& came, const Json& wanted) {
        constexpr int SHOWN = 5;
        if (++count_ > SHOWN) {
            return;
        }
        if (!where_.empty()) {
            text_ += where_ + "\n  input: " + given_ + "\n";
            where_.clear();
        }
        text_ += "  " + what + ": found " + came.dump() + ", expected " + wanted.dump() + "\n";
    }
    // Adds a value that remains wrong only once.
    void add_lasting(const std::string& what, const Json& came, const Json& wanted) {
        if (lasting_.insert(what).second) {
            add(what, came, wanted);
        }
    }
    void expect_none() const {
        if (count_ != 0) {
            ADD_FAILURE() << count_ << " differences; the first ones:\n" << text_;
        }
    }

  private:
    std::string where_, given_, text_;
    std::set<std::string> lasting_;
    int count_ = 0;
};

void compare_records(Differences& differences, const std::string& name, const BattStat& came, const BattStat& wanted) {
    if (memcmp(&came, &wanted, sizeof came) == 0) {
        return;
    }
    bool any = false;
    for (const RecordElement& element : record_elements()) {
        const int64_t came_value = element_value(came, element), wanted_value = element_value(wanted, element);
        if (came_value != wanted_value) {
            differences.add_lasting(name + " " + element.name, came_value, wanted_value);
            any = true;
        }
    }
    if (!any) {
        differences.add_lasting(name + ", bytes that no field covers", "changed", "unchanged");
    }
}

Json event_fields(const Effect& event) {
    Json fields;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(event.bytes.data());
    for (const decode::EventField& field : decode::decode_event({bytes, event.bytes.size()}, event.name).fields) {
        const Json value = decode::sent_json(field);
        fields[std::string(field.name)] = value.is_boolean() ? Json(value.get<bool>() ? 1 : 0) : value;
    }
    return fields;
}

void compare_event_fields(Differences& differences, const std::string& event, const Json& came, Json wanted) {
    for (const auto& [name, value] : came.items()) {
        wanted.emplace(name, nullptr);
    }
    for (const auto& [name, value] : wanted.items()) {
        const Json wanted_value = expanded(value), came_value = came.value(name, Json());
        const size_t size = wanted_value.is_array() && came_value.size() == wanted_value.size() ? came_value.size() : 0;
        for (size_t i = 0; i < size; i++) {
            if (came_value[i] != wanted_value[i]) {
                differences.add(event + name + "[" + std::to_string(i) + "]", came_value[i], wanted_value[i]);
            }
        }
        if (size == 0 && came_value != wanted_value) {
            differences.add(event + name, came_value, wanted_value);
        }
    }
}

// Compares effects in order, up to the first effect with another kind or target.
void compare_effects(Differences& differences, const Json& came, const Json& wanted) {
    for (size_t i = 0; i < std::max(came.size(), wanted.size()); i++) {
        const Json came_effect = i < came.size() ? came[i] : Json();
        const Json wanted_effect = i < wanted.size() ? wanted[i] : Json();
        const auto event_name = [](const Json& effect) {
            return effect.is_array() && effect[0] == "event"
                       ? effect[1].get<std::string>() + " " + effect[2].get<std::string>()
                       : "";
        };
        const std::string name = "effect " + std::to_string(i), event = event_name(wanted_effect);
        if (!event.empty() && event_name(came_effect) == event) {
            compare_event_fields(differences, name + ", " + event + ": ", came_effect[3], wanted_effect[3]);
        } else if (came_effect != wanted_effect) {
            differences.add(name, came_effect, wanted_effect);
            break;
        }
    }
}

// --- A history
class History : public testing::Test {
  public:
    explicit History(const std::filesystem::path& file) : given_(Json::parse(std::ifstream(file))) {}

    void TestBody() override {
        start();
        for (const Json& cycle : given_["cycles"]) {
            run_cycle(cycle);
        }
        differences_.expect_none();
    }

  private:
    void start() {
        const Json& faults = given_["faults_at_start"];
        differences_.start_step(given_["name"].get<std::string>() + ", start", faults);
        set_attributes(given_["attributes"]);
        set_units(given_["units"]);
        set_faults(faults);
        if (given_.contains("record_stored")) {
            set_fields(wanted_record_, given_["record_stored"]);
            phone_.units[UNIT_BATT_STAT] = bytes_of(wanted_record_);
        } else if (given_.contains("record_stored_bytes")) {
            phone_.units[UNIT_BATT_STAT] = bytes_of_hex(given_["record_stored_bytes"]);
        }
        given_["vendor_model"].get<std::string>().copy(state_.settings.vendor_model,
                                                       sizeof state_.settings.vendor_model - 1);
        load_records(device_, state_, record_, connection_);
        compare(given_["start"]);
    }

    void run_cycle(const Json& cycle) {
        Json put_in;
        for (const char* key : {"set", "units", "faults"}) {
            if (cycle.contains(key)) {
                put_in[key] = cycle[key];
            }
        }
        const std::string kind = cycle["kind"];
        differences_.start_step(given_["name"].get<std::string>() + ", cycle " + std::to_string(cycle_number_++) +
                                    " (" + kind + ", boot " + cycle["boot"].dump() + ", wall " + cycle["wall"].dump() +
                                    ")",
                                put_in);
        set_attributes(cycle.value("set", Json::object()));
        set_units(cycle.value("units", Json::object()));
        set_faults(cycle.value("faults", Json::object()));
        state_.clock.cycle_boot_time = cycle["boot"];
        state_.clock.cycle_wall_time = cycle["wall"];
        SysfsParams snapshot;
        read_sysfs_params(device_, snapshot, kind == "full" ? full_cycle_mask() : light_cycle_mask());
        if (kind == "full") {
            run_full_cycle(device_, state_, record_, connection_, snapshot, POLICY);
        } else {
            run_light_cycle(device_, snapshot);
        }
        cleanup_sysfs_params(snapshot);
        compare(cycle);
    }

    void set_attributes(const Json& set) {
        for (const auto& [name, text] : set.items()) {
            const std::string zone = "/sys/class/thermal/thermal_zone7/";
            const std::string path = name == "thermal zone" ? zone + "temp" : name;
            if (path != name) {
                phone_.attributes[zone + "type"] = "sdm_therm\n";
            }
            phone_.attributes.erase(path);
            if (!text.is_null()) {
                phone_.attributes[path] = text;
            }
        }
    }

    void set_units(const Json& set) {
        for (const auto& [number, hex] : set.items()) {
            const auto unit = static_cast<uint32_t>(std::stoul(number));
            phone_.units.erase(unit);
            if (!hex.is_null()) {
                phone_.units[unit] = bytes_of_hex(hex);
            }
        }
    }

    void set_faults(const Json& faults) {
        phone_.failing_reads = faults.value("unit_read", std::set<uint32_t>());
        phone_.failing_writes = faults.value("unit_write", std::set<uint32_t>());
        phone_.unwritable_attributes = faults.value("param_write", decltype(phone_.unwritable_attributes)());
        phone_.refusing_attributes = faults.value("param_store_error", decltype(phone_.refusing_attributes)());
        phone_.ondra_missing = faults.value("ondra_null", false);
        phone_.ondra_active = faults.value("ondra_active", 1);
        phone_.imei.clear();
        if (!given_["imei"].is_null() && !faults.value("imei", false)) {
            phone_.imei[1] = given_["imei"].get<std::string>();
        }
    }

    // Returns the effects on the phone since the last call, in the format of the histories.
    Json take_effects() {
        Json effects = Json::array();
        for (const Effect& effect : phone_.effects) {
            if (effect.kind == Effect::Kind::LOG) {
                effects.push_back({"log", effect.bytes});
            } else if (effect.kind == Effect::Kind::ATTRIBUTE && !effect.failed) {
                effects.push_back({"write", effect.name, effect.bytes});
            } else if (effect.kind == Effect::Kind::EVENT) {
                effects.push_back({"event", effect.category, effect.name, event_fields(effect)});
            } else if (effect.kind == Effect::Kind::UNIT_WRITE) {
                if (effect.name == std::to_string(UNIT_BATT_STAT)) {
                    effects.push_back(Json::array({"record"}));
                    BattStat stored{};
                    effect.bytes.copy(reinterpret_cast<char*>(&stored), sizeof stored);
                    compare_records(differences_, "stored record", stored, wanted_record_);
                    EXPECT_EQ(effect.bytes.size(), sizeof stored);
                } else {
                    effects.push_back({"unit", std::stoi(effect.name), hex_of(effect.bytes)});
                }
                if (effect.failed) {
                    effects.back().push_back("failed");
                }
            }
        }
        phone_.effects.clear();
        return effects;
    }

    void compare(const Json& wanted) {
        set_fields(wanted_record_, wanted.value("record", Json::object()));
        wanted_state_.update(wanted.value("state", Json::object()));
        compare_effects(differences_, take_effects(), wanted["effects"]);
        compare_records(differences_, "record", record_, wanted_record_);
        for (const StateField& field : STATE_FIELDS) {
            const Json came = field.value(state_), wanted_value = wanted_state_.value(field.name, Json());
            if (came != wanted_value) {
                differences_.add_lasting(std::string("state ") + field.name, came, wanted_value);
            }
        }
    }

    Json given_;
    StandIn phone_;
    Device device_ = device_of(phone_);
    ServiceState state_;
    BattStat record_{};
    ChgInsertionRemovalData connection_;
    int cycle_number_ = 0;
    BattStat wanted_record_{};
    Json wanted_state_ = Json::object();
    Differences differences_;
};

const bool HISTORIES_ARE_REGISTERED = [] {
    for (const auto& entry : std::filesystem::directory_iterator(HISTORIES)) {
        const std::filesystem::path& file = entry.path();
        if (file.extension() == ".json") {
            std::string name = file.stem();
            std::replace(name.begin(), name.end(), '-', '_');
            testing::RegisterTest("History", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [file] { return new History(file); });
        }
    }
    return true;
}();

}  // namespace
}  // namespace cellwarden

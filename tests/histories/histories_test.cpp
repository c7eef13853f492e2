// Histories of phones, each with the effects, the record and the working state that every cycle must lead to. They come
// from an independent model. One test per history; a difference names the history, the cycle, what was put in, and the
// field or effect.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cycle/cycle.h"
#include "decode/event.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "support/hex.h"
#include "support/named.h"
#include "support/record.h"

namespace cellwarden {
namespace {

using namespace test;
using Json = nlohmann::json;

// --- The encodings of the histories

// Elements of an array; a pair [value, count] stands for a run of equal ones.
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

// The working state by the names of the histories, which are those of the members.
std::map<std::string, int64_t> working_state(const ServiceState& s) {
    std::istringstream lines(
        NAMED(s.levels.soft_charge_mode, s.levels.soft_charge1_level, s.usage.online_time, s.usage.soh,
              s.usage.total_cycle_count, s.ageing.soc_full_total_time, s.health.latest_raw_soh,
              s.health.latest_filtered_soh, s.health.latest_predicted_soh, s.health.latest_user_soh,
              s.health.prev_soh_bucket_index, s.health.prev_bucket_user_soh, s.health.user_charge_full,
              s.restore.restored_capacity_applied, s.restore.restore_capacity_mah, s.hold.lrc_hold_active,
              s.hold.lrc_upper_soc, s.hold.lrc_lower_soc, s.hold.lrc_state, s.connection.usb_long_insertion_counter,
              s.heat.usb_connector_heat_count, s.heat.usb_connector_heat_time, s.heat.last_heat_save_time,
              s.passport.production_date_fix_pending, s.stat_save.last_stat_save_time));
    std::map<std::string, int64_t> state;
    int64_t value = 0;
    for (std::string member, equals; lines >> member >> equals >> value;) {
        state[member.substr(member.rfind('.') + 1)] = value;
    }
    return state;
}

// --- What differs in a history: the first few differences in full, the rest counted.
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
            text_ += where_ + "\n  put in: " + given_ + "\n";
            where_.clear();
        }
        text_ += "  " + what + ": came " + came.dump() + ", wanted " + wanted.dump() + "\n";
    }
    // A value that stays wrong is one difference.
    void add_lasting(const std::string& what, const Json& came, const Json& wanted) {
        if (lasting_.insert(what).second) {
            add(what, came, wanted);
        }
    }
    void expect_none() const {
        if (count_ != 0) {
            ADD_FAILURE() << count_ << " differences, of which the first are:\n" << text_;
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

// Each value that differs, by its place in the list of effects: "/2/3/fcc_mah/0" is a number in the fields of an event.
void compare_effects(Differences& differences, const Json& came, Json wanted) {
    for (Json& effect : wanted) {
        if (effect[0] == "event") {
            std::transform(effect[3].begin(), effect[3].end(), effect[3].begin(), expanded);
        }
    }
    for (const Json& change : Json::diff(came, wanted)) {
        const Json::json_pointer place(change["path"].get<std::string>());
        const size_t i = std::stoul(place.to_string().substr(1));
        const Json& effect = i < wanted.size() ? wanted[i] : came[i];
        differences.add("effect " + place.to_string() + " (" + effect[0].get<std::string>() + " " +
                            (effect.size() > 2 ? effect[2].dump() : "") + ")",
                        came.contains(place) ? came[place] : Json(), change.value("value", Json()));
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
        put_in("start",
               {{"set", given_["attributes"]}, {"units", given_["units"]}, {"faults", given_["faults_at_start"]}});
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
        const std::string kind = cycle["kind"];
        put_in("cycle " + std::to_string(cycle_number_++) + " (" + kind + ", boot " + cycle["boot"].dump() + ", wall " +
                   cycle["wall"].dump() + ")",
               cycle);
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

    void put_in(const std::string& step, const Json& given) {
        const Json set = given.value("set", Json::object()), units = given.value("units", Json::object()),
                   faults = given.value("faults", Json::object());
        differences_.start_step(given_["name"].get<std::string>() + ", " + step,
                                {{"set", set}, {"units", units}, {"faults", faults}});
        set_attributes(set);
        set_units(units);
        set_faults(faults);
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

    // What the phone has seen since the last call, as the histories write it.
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
        for (const auto& [name, came] : working_state(state_)) {
            const Json wanted_value = wanted_state_.value(name, Json());
            if (came != wanted_value) {
                differences_.add_lasting("state " + name, came, wanted_value);
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

// Histories of phones, each with the effects, the record and the working state that every cycle must lead to. They come
// from an independent model. One test per history; a difference names the history, the cycle, what was put in, and the
// field or effect.
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
#include "histories/adapter.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "support/record.h"

namespace cellwarden {
namespace {

using namespace test;
using Json = nlohmann::json;

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

std::string bytes_of_hex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
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

// --- The working state by the names of the histories

struct StateField {
    const char* name;
    int64_t (*value)(const ServiceState& state);
};

#define WORKING(name, member)                                                              \
    {                                                                                      \
        name, [](const ServiceState& state) { return static_cast<int64_t>(state.member); } \
    }
constexpr StateField STATE_FIELDS[] = {
    WORKING("soft_charge_mode", soft_charge_mode),
    WORKING("online_time", online_time),
    WORKING("soh", soh),
    WORKING("total_cycle_count", total_cycle_count),
    WORKING("soft_charge1_level", soft_charge1_level),
    WORKING("soc_full_total_time", soc_full_total_time),
    WORKING("latest_raw_soh", latest_raw_soh),
    WORKING("latest_filtered_soh", latest_filtered_soh),
    WORKING("latest_predicted_soh", latest_predicted_soh),
    WORKING("latest_user_soh", latest_user_soh),
    WORKING("prev_soh_bucket_index", prev_soh_bucket_index),
    WORKING("prev_bucket_user_soh", prev_bucket_user_soh),
    WORKING("user_charge_full", user_charge_full),
    WORKING("restored_capacity_applied", restored_capacity_applied),
    WORKING("restore_capacity_mah", restore_capacity_mah),
    WORKING("lrc_hold_active", lrc_hold_active),
    WORKING("lrc_upper_soc", lrc_upper_soc),
    WORKING("lrc_lower_soc", lrc_lower_soc),
    WORKING("lrc_state", lrc_state),
    WORKING("usb_long_insertion_counter", usb_long_insertion_counter),
    WORKING("usb_connector_heat_count", usb_connector_heat_count),
    WORKING("usb_connector_heat_time", usb_connector_heat_time),
    WORKING("production_date_fix_pending", production_date_fix_pending),
    WORKING("last_stat_save_time", last_stat_save_time),
    WORKING("last_heat_save_time", last_heat_save_time),
};
#undef WORKING

// --- Differences

// Collects what differs in a history; the first few are shown in full, the rest are counted.
class Differences {
  public:
    void start_step(std::string where, const Json& given) {
        where_ = std::move(where);
        given_ = given.dump();
    }
    void add(const std::string& what, const Json& came, const Json& wanted) {
        static constexpr int SHOWN = 5;
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
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    std::string where_, given_, text_;
    std::set<std::string> lasting_;
    int count_ = 0;
};

// Where two elements of arrays differ; else the values themselves.
void compare_field(Differences& differences, const std::string& name, const Json& came, const Json& wanted) {
    if (came.is_array() && wanted.is_array() && came.size() == wanted.size()) {
        for (size_t i = 0; i < came.size(); i++) {
            if (came[i] != wanted[i]) {
                differences.add(name + "[" + std::to_string(i) + "]", came[i], wanted[i]);
            }
        }
    } else if (came != wanted) {
        differences.add(name, came, wanted);
    }
}

Json event_fields(const std::string& name, const std::string& data) {
    Json fields;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(data.data());
    for (const decode::EventField& field : decode::decode_event({bytes, data.size()}, name).fields) {
        const Json value = decode::sent_json(field);
        fields[std::string(field.name)] = value.is_boolean() ? Json(value.get<bool>() ? 1 : 0) : value;
    }
    return fields;
}

void compare_events(Differences& differences, const std::string& effect, const Json& came, const Json& wanted) {
    Json fields = event_fields(came[2], bytes_of_hex(came[3]));
    for (const auto& [name, value] : wanted[3].items()) {
        compare_field(differences, effect + " " + std::string(wanted[2]) + "." + name, fields.value(name, Json()),
                      expanded(value));
        fields.erase(name);
    }
    for (const auto& [name, value] : fields.items()) {
        differences.add(effect + " " + std::string(wanted[2]) + "." + name, value, nullptr);
    }
}

// In order. Past the first effect of another kind, or upon another thing, nothing can be compared.
void compare_effects(Differences& differences, const Json& came, const Json& wanted) {
    for (size_t i = 0; i < std::max(came.size(), wanted.size()); i++) {
        const Json came_effect = i < came.size() ? came[i] : Json();
        const Json wanted_effect = i < wanted.size() ? wanted[i] : Json();
        const std::string name = "effect " + std::to_string(i);
        const auto is_event = [](const Json& effect) { return effect.is_array() && effect[0] == "event"; };
        if (is_event(came_effect) && is_event(wanted_effect) && came_effect[2] == wanted_effect[2]) {
            compare_events(differences, name, came_effect, wanted_effect);
        } else if (came_effect != wanted_effect) {
            differences.add(name, came_effect, wanted_effect);
            break;
        }
    }
}

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

// --- A history

class History {
  public:
    explicit History(const std::filesystem::path& file) : given_(Json::parse(std::ifstream(file))) {}

    void run() {
        start();
        size_t number = 0;
        for (const Json& cycle : given_["cycles"]) {
            run_cycle(cycle, number++);
        }
        if (differences_.count() != 0) {
            ADD_FAILURE() << differences_.count() << " differences, of which the first are:\n" << differences_.text();
        }
    }

  private:
    void start() {
        differences_.start_step(given_["name"].get<std::string>() + ", start", given_["faults_at_start"]);
        adapter_.set_property("ro.product.vendor.model", given_["vendor_model"]);
        adapter_.set_attributes(given_["attributes"]);
        adapter_.set_units(given_["units"]);
        adapter_.set_faults(given_["faults_at_start"], given_["imei"]);
        if (given_.contains("record_stored")) {
            set_fields(wanted_record_, given_["record_stored"]);
            adapter_.set_unit(UNIT_BATT_STAT, bytes_of(wanted_record_));
        } else if (given_.contains("record_stored_bytes")) {
            adapter_.set_unit(UNIT_BATT_STAT, bytes_of_hex(given_["record_stored_bytes"]));
        }
        given_["vendor_model"].get<std::string>().copy(state_.vendor_model, sizeof state_.vendor_model - 1);
        load_records(state_, record_, connection_);
        compare(given_["start"]);
    }

    void run_cycle(const Json& cycle, size_t number) {
        const bool full = cycle["kind"] == "full";
        Json put_in;
        for (const char* key : {"set", "units", "faults"}) {
            if (cycle.contains(key)) {
                put_in[key] = cycle[key];
            }
        }
        differences_.start_step(given_["name"].get<std::string>() + ", cycle " + std::to_string(number) + " (" +
                                    cycle["kind"].get<std::string>() + ", boot " + cycle["boot"].dump() + ", wall " +
                                    cycle["wall"].dump() + ")",
                                put_in);
        adapter_.set_attributes(cycle.value("set", Json::object()));
        adapter_.set_units(cycle.value("units", Json::object()));
        adapter_.set_faults(cycle.value("faults", Json::object()), given_["imei"]);
        state_.cycle_boot_time = cycle["boot"];
        state_.cycle_wall_time = cycle["wall"];
        SysfsParams snapshot;
        read_sysfs_params(snapshot, full ? full_cycle_mask() : light_cycle_mask());
        if (full) {
            run_full_cycle(state_, record_, connection_, snapshot);
        } else {
            run_light_cycle(snapshot);
        }
        cleanup_sysfs_params(snapshot);
        compare(cycle);
    }

    void compare(const Json& wanted) {
        set_fields(wanted_record_, wanted.value("record", Json::object()));
        wanted_state_.update(wanted.value("state", Json::object()));
        Json effects = adapter_.take_effects();
        for (Json& effect : effects) {
            if (effect[0] == "unit" && effect[1] == UNIT_BATT_STAT) {
                BattStat stored{};
                const std::string bytes = bytes_of_hex(effect[2]);
                memcpy(&stored, bytes.data(), std::min(sizeof stored, bytes.size()));
                compare_records(differences_, "stored record", stored, wanted_record_);
                effect.erase(2);
                effect.erase(1);
                effect[0] = "record";
            }
        }
        compare_effects(differences_, effects, wanted["effects"]);
        compare_records(differences_, "record", record_, wanted_record_);
        for (const StateField& field : STATE_FIELDS) {
            const Json came = field.value(state_), wanted_value = wanted_state_.value(field.name, Json());
            if (came != wanted_value) {
                differences_.add_lasting(std::string("state ") + field.name, came, wanted_value);
            }
        }
    }

    Json given_;
    Adapter adapter_;
    ServiceState state_;
    BattStat record_{};
    ChgInsertionRemovalData connection_;
    BattStat wanted_record_{};
    Json wanted_state_ = Json::object();
    Differences differences_;
};

class HistoryTest : public testing::Test {
  public:
    explicit HistoryTest(std::filesystem::path file) : file_(std::move(file)) {}
    void TestBody() override { History(file_).run(); }

  private:
    std::filesystem::path file_;
};

const bool REGISTERED = [] {
    for (const auto& entry : std::filesystem::directory_iterator(HISTORIES)) {
        const std::filesystem::path& file = entry.path();
        if (file.extension() == ".json") {
            std::string name = file.stem();
            std::replace(name.begin(), name.end(), '-', '_');
            testing::RegisterTest("Histories", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [file] { return new HistoryTest(file); });
        }
    }
    return true;
}();

}  // namespace
}  // namespace cellwarden

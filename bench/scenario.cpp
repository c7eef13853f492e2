#include "bench/scenario.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "bench/record_seed.h"
#include "phone/phone_attributes.h"

namespace cellwarden::bench {
namespace {

void read_phone(const JsonPlace& place, phone::Phone& phone) {
    phone::Battery& battery = phone.battery;
    read_object(
        place, {
                   {"model_name", text_into(phone.model_name)},
                   {"charge_full_design_mah",
                    number_into(battery.charge_full_design_uah, 100, 20'000, 1e3)},
                   {"state_of_health_percent", number_into(battery.state_of_health, 10, 100, 0.01)},
                   {"soc_percent", number_into(battery.soc, 0, 100, 0.01)},
                   {"resistance_mohm", number_into(battery.resistance_mohm, 1, 1000)},
                   {"battery_temp_c", number_into(battery.temp_c, -40, 100)},
                   {"ambient_c", number_into(phone.ambient_c, -40, 100)},
                   {"load_ma", number_into(phone.load_ma, 0, 10'000)},
                   {"thermal_level", integer_into(phone.charger.thermal_level, 0, 19)},
                   {"thermal_level_max", integer_into(phone.charger.thermal_level_max, 1, 19)},
                   {"thermal_zone", integer_into(phone.thermal_zone, 2, 99)},
                   {"shutdown_phase", integer_into(phone.shutdown_phase, 0, 9)},
               });
    if (phone.charger.thermal_level > phone.charger.thermal_level_max) {
        fail(place, "a thermal_level of at most thermal_level_max");
    }
}

std::string little_endian(uint64_t value, size_t size) {
    std::string bytes;
    for (size_t i = 0; i < size; i++) {
        bytes.push_back(static_cast<char>(value >> (8 * i)));
    }
    return bytes;
}

std::string read_hex(const JsonPlace& place) {
    const std::string text = read_text(place);
    const auto is_hex = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (text.size() % 2 != 0 || !std::all_of(text.begin(), text.end(), is_hex)) {
        fail(place, "pairs of hexadecimal digits");
    }
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string read_file_of(const JsonPlace& place) {
    const std::filesystem::path path = place.file.parent_path() / read_text(place);
    std::ifstream stream(path, std::ios::binary);
    if (!stream || !std::filesystem::is_regular_file(path)) {
        fail(place, "a file that can be read (tried " + path.string() + ")");
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string read_unit(const JsonPlace& place) {
    std::string bytes;
    const auto unsigned_of = [&bytes](size_t size) {
        return [&bytes, size](const JsonPlace& at) {
            const auto most = static_cast<int64_t>((uint64_t{1} << (8 * size)) - 1);
            bytes = little_endian(static_cast<uint64_t>(read_integer(at, 0, most)), size);
        };
    };
    const auto signed_of = [&bytes](size_t size, int64_t low, int64_t high) {
        return [&bytes, size, low, high](const JsonPlace& at) {
            bytes = little_endian(static_cast<uint64_t>(read_integer(at, low, high)), size);
        };
    };
    const Handlers forms = {
        {"u8", unsigned_of(1)},
        {"u16", unsigned_of(2)},
        {"u32", unsigned_of(4)},
        {"i32", signed_of(4, INT32_MIN, INT32_MAX)},
        {"i64", signed_of(8, INT64_MIN, INT64_MAX)},
        {"text", text_into(bytes)},
        {"hex", [&bytes](const JsonPlace& at) { bytes = read_hex(at); }},
        {"file", [&bytes](const JsonPlace& at) { bytes = read_file_of(at); }},
        {"record", [&bytes](const JsonPlace& at) { bytes = read_record(at); }},
    };
    if (!place.value.is_object() || place.value.size() != 1) {
        fail(place, "an object with exactly one of: " + key_list(forms));
    }
    read_object(place, forms);
    return bytes;
}

bool is_unit_number(const std::string& text) {
    return !text.empty() && text.size() <= 9 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

void read_units(const JsonPlace& place, std::map<uint32_t, std::string>& units) {
    if (!place.value.is_object()) {
        fail(place, "an object with unit numbers as keys");
    }
    for (const auto& item : place.value.items()) {
        const JsonPlace unit = member(place, item.key());
        if (!is_unit_number(item.key())) {
            fail(unit, "a unit number as the key, not '" + item.key() + "'");
        }
        units[static_cast<uint32_t>(std::stoul(item.key()))] = read_unit(unit);
    }
}

void read_properties(const JsonPlace& place, std::map<std::string, std::string>& properties) {
    if (!place.value.is_object()) {
        fail(place, "an object with property names as keys");
    }
    for (const auto& item : place.value.items()) {
        const JsonPlace property = member(place, item.key());
        if (item.key().empty() || item.key().find('/') != std::string::npos) {
            fail(property, "a property name as the key, not '" + item.key() + "'");
        }
        properties[item.key()] = read_text(property);
    }
}

template <typename Plug>
Plug read_plug(const JsonPlace& place, const std::vector<std::string>& types) {
    require(place, "type");
    require(place, "watts");
    Plug plug;
    read_object(place, {{"type", [&](const JsonPlace& at) { plug.type = read_choice(at, types); }},
                        {"watts", number_into(plug.watts, 0.5, 240)}});
    return plug;
}

bool is_attribute_name(const std::string& name) {
    const phone::Phone phone;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        if (phone::attribute_name(attribute_path(phone, static_cast<SysfsParamId>(id))) == name) {
            return true;
        }
    }
    return false;
}

OverrideAttribute read_override(const JsonPlace& place) {
    require(place, "name");
    require(place, "text");
    OverrideAttribute attribute;
    const auto read_name = [&attribute](const JsonPlace& at) {
        attribute.name = read_text(at);
        if (!is_attribute_name(attribute.name)) {
            fail(at, "the name of a parameter's attribute, such as battery/health");
        }
    };
    const auto read_override_text = [&attribute](const JsonPlace& at) {
        if (!at.value.is_null()) {
            attribute.text = read_text(at);
        }
    };
    read_object(place, {{"name", read_name}, {"text", read_override_text}});
    return attribute;
}

std::string read_fault_name(const JsonPlace& place) {
    for (const std::string prefix : {"unit-read-", "unit-write-"}) {
        std::string name = place.value.is_string() ? read_text(place) : "";
        if (name.starts_with(prefix) && is_unit_number(name.substr(prefix.size()))) {
            return name;
        }
    }
    return read_choice(place,
                       {"unit-read-NUMBER", "unit-write-NUMBER", "unit-store", "event-library",
                        "event-library-inactive", "event-queue", "imei", "property", "log"});
}

SwitchFault read_fault(const JsonPlace& place) {
    require(place, "name");
    require(place, "on");
    SwitchFault fault;
    read_object(place,
                {{"name", [&fault](const JsonPlace& at) { fault.name = read_fault_name(at); }},
                 {"on", [&fault](const JsonPlace& at) { fault.on = read_flag(at); }}});
    return fault;
}

SendUevent read_uevent(const JsonPlace& place) {
    require(place, "subsystem");
    require(place, "name");
    SendUevent uevent;
    read_object(place,
                {{"subsystem", text_into(uevent.subsystem)}, {"name", text_into(uevent.name)}});
    return uevent;
}

Unplug read_unplug(const JsonPlace& place) {
    if (!read_flag(place)) {
        fail(place, "true");
    }
    return {};
}

TimedAction read_timed_action(const JsonPlace& place, const phone::Phone& phone) {
    TimedAction timed;
    size_t action_count = 0;
    const auto take = [&timed, &action_count](Action action) {
        timed.action = std::move(action);
        action_count++;
    };
    const auto number = [](const JsonPlace& at, double low, double high) {
        return read_number(at, low, high);
    };
    const auto level = [&phone](const JsonPlace& at) {
        return static_cast<int>(read_integer(at, 0, phone.charger.thermal_level_max));
    };
    const Handlers actions = {
        {"plug",
         [&](const JsonPlace& at) {
             take(
                 read_plug<PlugUsb>(at, {"Unknown", "SDP", "DCP", "CDP", "ACA", "C", "PD", "PD_DRP",
                                         "PD_PPS", "BrickID", "HVDCP", "HVDCP_3", "HVDCP_3P5"}));
         }},
        {"wireless",
         [&](const JsonPlace& at) {
             take(read_plug<PlugWireless>(at, {"BPP", "EPP"}));
         }},
        {"unplug", [&](const JsonPlace& at) { take(read_unplug(at)); }},
        {"ambient_c", [&](const JsonPlace& at) { take(SetAmbient{number(at, -40, 100)}); }},
        {"battery_temp_c",
         [&](const JsonPlace& at) { take(SetBatteryTemp{number(at, -40, 100)}); }},
        {"load_ma", [&](const JsonPlace& at) { take(SetLoad{number(at, 0, 10'000)}); }},
        {"thermal_level", [&](const JsonPlace& at) { take(SetThermalLevel{level(at)}); }},
        {"shutdown_phase",
         [&](const JsonPlace& at) {
             take(SetShutdownPhase{static_cast<int>(read_integer(at, 0, 9))});
         }},
        {"attribute", [&](const JsonPlace& at) { take(read_override(at)); }},
        {"fault", [&](const JsonPlace& at) { take(read_fault(at)); }},
        {"uevent", [&](const JsonPlace& at) { take(read_uevent(at)); }},
    };
    Handlers handlers = actions;
    handlers["at_s"] = number_into(timed.at_s, 0, 1e6);
    require(place, "at_s");
    read_object(place, handlers);
    if (action_count != 1) {
        fail(place, "at_s and exactly one of: " + key_list(actions));
    }
    return timed;
}

void read_timeline(const JsonPlace& place, Scenario& scenario) {
    if (!place.value.is_array()) {
        fail(place, "an array of actions");
    }
    for (size_t i = 0; i < place.value.size(); i++) {
        scenario.timeline.push_back(read_timed_action(element(place, i), scenario.phone));
    }
    std::stable_sort(scenario.timeline.begin(), scenario.timeline.end(),
                     [](const TimedAction& a, const TimedAction& b) { return a.at_s < b.at_s; });
}

void read_faults(const JsonPlace& place, std::vector<std::string>& faults) {
    if (!place.value.is_array()) {
        fail(place, "an array of names of faults");
    }
    for (size_t i = 0; i < place.value.size(); i++) {
        faults.push_back(read_fault_name(element(place, i)));
    }
}

void read_scenario(const JsonPlace& top, Scenario& scenario) {
    // The timeline is checked against the phone, which may follow it in the file.
    if (top.value.is_object() && top.value.contains("phone")) {
        read_phone(member(top, "phone"), scenario.phone);
    }
    read_object(
        top, {
                 {"about", text_into(scenario.about)},
                 {"duration_s", number_into(scenario.duration_s, 1, 1e6)},
                 {"speed", number_into(scenario.speed, 0, 1e5)},
                 {"uptime_s", number_into(scenario.uptime_s, 1, 1e9)},
                 {"driver_ready_s", number_into(scenario.driver_ready_s, 0, 60)},
                 {"battery_uevent_s", number_into(scenario.battery_uevent_s, 0, 3600)},
                 {"phone", [](const JsonPlace&) {}},
                 {"units", [&](const JsonPlace& place) { read_units(place, scenario.units); }},
                 {"properties",
                  [&](const JsonPlace& place) { read_properties(place, scenario.properties); }},
                 {"imei", text_into(scenario.imei)},
                 {"faults", [&](const JsonPlace& place) { read_faults(place, scenario.faults); }},
                 {"timeline", [&](const JsonPlace& place) { read_timeline(place, scenario); }},
             });
}

}  // namespace

Scenario parse_scenario(const std::string& text, const std::filesystem::path& file) {
    const nlohmann::json document = parse_document(text, file);
    Scenario scenario;
    read_scenario({document, "", file}, scenario);
    return scenario;
}

Scenario load_scenario(const std::filesystem::path& file) {
    const std::vector<uint8_t> bytes = read_input(file);
    return parse_scenario({bytes.begin(), bytes.end()}, file);
}

}  // namespace cellwarden::bench

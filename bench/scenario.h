// A scenario: the phone at the start and a timeline of actions, read from a JSON file.
// docs/bench.md describes the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/json_reader.h"
#include "phone/phone.h"

namespace cellwarden::bench {

struct PlugUsb {
    std::string type;
    double watts = 0;
};
struct PlugWireless {
    std::string type;
    double watts = 0;
};
struct Unplug {};
struct SetAmbient {
    double temp_c = 0;
};
struct SetBatteryTemp {
    double temp_c = 0;
};
struct SetLoad {
    double load_ma = 0;
};
struct SetThermalLevel {
    int level = 0;
};
struct SetShutdownPhase {
    int phase = 0;
};
// Holds an attribute at a text; without a text the attribute follows the phone again.
struct OverrideAttribute {
    std::string name;  // "battery/health"
    std::optional<std::string> text;
};
struct SwitchFault {
    std::string name;  // of the stand-in libraries: "unit-write-2491"
    bool on = false;
};
// Sends a uevent without changing the phone.
struct SendUevent {
    std::string subsystem;
    std::string name;
};

using Action =
    std::variant<PlugUsb, PlugWireless, Unplug, SetAmbient, SetBatteryTemp, SetLoad,
                 SetThermalLevel, SetShutdownPhase, OverrideAttribute, SwitchFault, SendUevent>;

struct TimedAction {
    double at_s = 0;  // real seconds after the daemon has started to listen for uevents
    Action action;
};

struct Scenario {
    std::string about;
    double duration_s = 30;       // real seconds after the daemon has started to listen
    double speed = 1;             // battery seconds per real second
    double uptime_s = 3600;       // uptime of the phone when the daemon starts
    double driver_ready_s = 0;    // real seconds from the daemon's start until the driver exists
    double battery_uevent_s = 5;  // period of the battery's uevents; 0: no periodic uevents
    phone::Phone phone;
    std::map<uint32_t, std::string> units;  // initial content of the unit store, by unit number
    std::map<std::string, std::string> properties;
    std::string imei;                   // empty: the phone has no IMEI
    std::vector<std::string> faults;    // active when the daemon starts
    std::vector<TimedAction> timeline;  // sorted by time
};

// Reads a scenario from the text of its file. `file` is used in messages, and its folder to find
// the files that the scenario names. Throws InputError.
Scenario parse_scenario(const std::string& text, const std::filesystem::path& file);

// Reads a scenario file. Throws InputError.
Scenario load_scenario(const std::filesystem::path& file);

}  // namespace cellwarden::bench

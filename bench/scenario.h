// A scenario: the phone as it is at the start, and what happens to it, read from a JSON file.
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
// Holds an attribute at a text of its own; no text lets it follow the phone again.
struct OverrideAttribute {
    std::string name;  // "battery/health"
    std::optional<std::string> text;
};
struct SwitchFault {
    std::string name;  // as the stand-in libraries name it: "unit-write-2491"
    bool on = false;
};
// A uevent that follows from nothing else.
struct SendUevent {
    std::string subsystem;
    std::string name;
};

using Action =
    std::variant<PlugUsb, PlugWireless, Unplug, SetAmbient, SetBatteryTemp, SetLoad,
                 SetThermalLevel, SetShutdownPhase, OverrideAttribute, SwitchFault, SendUevent>;

struct TimedAction {
    double at_s = 0;  // real seconds since the daemon listens for uevents
    Action action;
};

struct Scenario {
    std::string about;
    double duration_s = 30;       // real seconds since the daemon listens
    double speed = 1;             // seconds of the battery's life in one real second
    double uptime_s = 3600;       // the phone's uptime when the daemon starts
    double driver_ready_s = 0;    // real seconds after the daemon's start until the driver is there
    double battery_uevent_s = 5;  // period of the battery's own uevents; 0: none without a change
    phone::Phone phone;
    std::map<uint32_t, std::string> units;  // bytes of the units that the store starts with
    std::map<std::string, std::string> properties;
    std::string imei;                   // empty: the phone has none
    std::vector<std::string> faults;    // that are on when the daemon starts
    std::vector<TimedAction> timeline;  // sorted by time
};

// Reads a scenario from the text of its file; `file` serves messages and, as the folder of the
// files that the scenario names, finding them. Throws InputError.
Scenario parse_scenario(const std::string& text, const std::filesystem::path& file);

// The same from a file. Throws InputError.
Scenario load_scenario(const std::filesystem::path& file);

}  // namespace cellwarden::bench

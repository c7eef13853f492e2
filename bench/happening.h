// What the bench tells of: one record for each kind of happening, and their tally.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "bench/kernel_log.h"
#include "bench/phone_files.h"
#include "bench/state_dir.h"

namespace cellwarden::bench {

struct DaemonListens {};  // for uevents, for the first time
struct PhoneChange {
    std::string text;  // what the scenario did
};
struct UeventSent {
    std::string subsystem;
    std::string name;
};
struct CycleDone {
    bool full = false;
};
struct UnitStored {
    StoredUnit unit;
};
struct EventSent {
    OutboxEvent event;
    std::string file;
};

using Happening = std::variant<DaemonListens, PhoneChange, UeventSent, CycleDone, AttributeWrite,
                               UnitStored, EventSent, LogRecord>;

// How often each kind happened.
struct Tally {
    int uevents = 0;
    int full_cycles = 0;
    int light_cycles = 0;
    std::map<std::string, int> attribute_writes;
    std::map<uint32_t, int> units;
    std::map<std::string, int> events;
    int log_lines = 0;
};

void count_happening(Tally& tally, const Happening& happening);

// What the status line shows.
struct PhoneStatus {
    int capacity_percent = 0;
    double voltage_v = 0;
    double current_ma = 0;  // positive: charging
    double temp_c = 0;
    std::string charge_status;  // "Charging", as the battery's status attribute has it
    int ageing_level = 0;
    std::string source;  // "PD 27 W", or "unplugged"
    int64_t uptime_s = 0;
};

}  // namespace cellwarden::bench

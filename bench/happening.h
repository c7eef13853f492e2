// The kinds of happenings in a run, each a record, and a tally of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "bench/kernel_log.h"
#include "bench/phone_files.h"
#include "bench/state_dir.h"

namespace cellwarden::bench {

struct DaemonListens {};  // the daemon has opened its uevent socket
struct PhoneChange {
    std::string text;  // action of the scenario, for people
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

// Number of happenings of each kind.
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

// Content of the status line.
struct PhoneStatus {
    int capacity_percent = 0;
    double voltage_v = 0;
    double current_ma = 0;  // positive: charging
    double temp_c = 0;
    std::string charge_status;  // text of the battery's status attribute
    int ageing_level = 0;
    std::string source;  // "PD 27 W", or "unplugged"
    int64_t uptime_s = 0;
};

}  // namespace cellwarden::bench

// A phone in memory: the one stand-in of the seam (platform/device.h) for tests, tools, benchmarks
// and fuzzing. It keeps what the daemon's code writes, records every effect in order, and fails
// where it is told to. It touches no file and keeps no globals, so threads can each have their own.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"

namespace cellwarden {

struct Effect {
    enum class Kind { LOG, ATTRIBUTE, UNIT_READ, UNIT_WRITE, EVENT };

    Kind kind;
    std::string name;   // attribute: its path; unit: its number; event: its name; log: empty
    std::string bytes;  // log: the line; attribute: the text; unit written, event: the bytes
    std::string category = "";  // of an event
    bool failed = false;        // the call reported a failure and changed nothing
};

struct StandIn {
    // --- What the phone holds
    std::map<std::string, std::string, std::less<>> attributes{};  // path to text
    std::map<uint32_t, std::string> units{};
    std::map<std::string, std::string> properties{};
    std::map<int, std::optional<std::string>>
        imei{};  // by modem slot; nullopt: a length without a text

    // --- What fails. An attribute or unit that does not exist fails to read; so does an attribute
    // to write, and the IMEI of an unknown slot.
    std::set<uint32_t> failing_reads{};   // units: the buffer is overwritten all the same
    std::set<uint32_t> failing_writes{};  // units
    std::set<std::string, std::less<>> unwritable_attributes{};  // open fails
    std::set<std::string, std::less<>> refusing_attributes{};    // write fails
    bool ondra_missing = false;
    int ondra_active = 1;  // the answer of ondra_is_active
    bool ondra_refuses = false;
    bool heap_is_empty = false;

    // --- What the daemon's code did
    bool records_effects = true;
    std::vector<Effect> effects{};
    int open_handles = 0;               // ondra_create less ondra_destroy
    std::vector<size_t> heap_blocks{};  // sizes asked for, while effects are recorded
    std::vector<unsigned> sleeps{};     // seconds asked for; sleep returns at once

    std::function<void()> during_sleep{};
    std::function<int(int count, fd_set* readable, timeval* timeout)>
        select{};               // unset: the real one
    std::string_view unread{};  // of the attribute that was opened last
    char thermal_zone_temp_path[THERMAL_ZONE_PATH_SIZE] = "";
};

// The seam on `phone`, which must outlive it and stay where it is. Ends the process with a message
// where a library is called against its rules: a handle that is not open, another log level.
Device device_of(StandIn& phone);

// One line for an effect: "log TEXT", "write PATH = TEXT" without the text's newline, "read unit
// N", "write unit N", "event NAME"; with " failed" at the end of one that failed.
std::string line_of(const Effect& effect);

// The bytes of a value, as a unit holds them.
template <typename T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace cellwarden

// A phone in memory behind platform/device.h, for tests, tools, benchmarks and fuzzing. It stores
// what the daemon's code writes, records every effect in order, and simulates the selected
// failures. It uses no files or global variables, so each thread can have its own.
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
    std::string name;        // attribute: its path; unit: its number; event: its name; log: empty
    std::string bytes;       // log: the line; attribute: the text; unit written, event: the bytes
    std::string category{};  // category of an event
    bool failed = false;     // the call reported a failure and changed nothing
};

struct StandIn {
    // --- Content of the phone
    std::map<std::string, std::string, std::less<>> attributes{};  // path to text
    std::map<uint32_t, std::string> units{};
    std::map<std::string, std::string> properties{};
    // By modem slot; nullopt: a length without a text.
    std::map<int, std::optional<std::string>> imei{};

    // --- Failures. In addition, reading a missing attribute or unit, writing a missing attribute,
    // and the IMEI of an unknown slot fail.
    std::set<uint32_t> failing_reads{};   // units; a failing read overwrites the buffer
    std::set<uint32_t> failing_writes{};  // units
    std::set<std::string, std::less<>> unwritable_attributes{};  // open fails
    std::set<std::string, std::less<>> refusing_attributes{};    // write fails
    bool ondra_missing = false;
    int ondra_active = 1;  // result of ondra_is_active
    bool ondra_refuses = false;
    bool heap_is_empty = false;

    // --- Calls of the daemon's code
    bool records_effects = true;
    std::vector<Effect> effects{};
    int open_handles = 0;               // calls of ondra_create minus ondra_destroy
    std::vector<size_t> heap_blocks{};  // requested sizes, while effects are recorded
    std::vector<unsigned> sleeps{};     // requested seconds; sleep returns at once

    std::function<void()> during_sleep{};
    // If empty, select() of the C library is called.
    std::function<int(int count, fd_set* readable, timeval* timeout)> select{};
    std::string_view unread{};  // unread text of the attribute that was opened last
    char thermal_zone_temp_path[THERMAL_ZONE_PATH_SIZE] = "";
};

// Returns functions bound to `phone`, which must outlive them and keep its address. Ends the
// process with a message if a call breaks a library's rules: a handle that is not open, another log
// level.
Device device_of(StandIn& phone);

// Returns a line for an effect: "log TEXT", "write PATH = TEXT" without the text's newline, "read
// unit N", "write unit N", "event NAME"; a failed effect ends with " failed".
std::string line_of(const Effect& effect);

// Returns the bytes of a value, as a unit stores them.
template <typename T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace cellwarden

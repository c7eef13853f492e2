// The daemon's settings: a constant table that is compiled into the program.
#pragma once

#include <array>
#include <cstdint>

namespace cellwarden {

inline constexpr uint32_t CONFIG_INTEGER = 0;
inline constexpr uint32_t CONFIG_TEXT = 1;

struct ConfigEntry {
    const char* key;
    uint32_t type = CONFIG_INTEGER;  // CONFIG_INTEGER or CONFIG_TEXT
    bool is_set = false;             // false: the daemon's default applies
    union {
        int32_t integer;
        char text[32] = "";  // zero-terminated
    } value{};
};

using ConfigTable = std::array<ConfigEntry, 13>;
extern const ConfigTable config_table;

// Returns the seconds between light cycles; 0 means that there are no light cycles. It is the value
// of "periodic_event_interval" if it is set and not negative, otherwise 10.
int32_t periodic_event_interval(const ConfigTable& table);

}  // namespace cellwarden

// The daemon's settings: a table compiled into the program. Nothing changes it at run time.
#pragma once

#include <array>
#include <cstdint>

namespace cellwarden {

inline constexpr uint32_t CONFIG_INTEGER = 0;
inline constexpr uint32_t CONFIG_TEXT = 1;

struct ConfigEntry {
    const char* key;
    uint32_t type = CONFIG_INTEGER;  // or CONFIG_TEXT
    bool is_set = false;             // false: the daemon's default holds
    union {
        int32_t integer;
        char text[32] = "";  // zero-terminated
    } value{};
};

using ConfigTable = std::array<ConfigEntry, 13>;
extern const ConfigTable config_table;

// Seconds between light cycles: the entry "periodic_event_interval" where it is set and not
// negative (0: no light cycles at all), else 10.
int32_t periodic_event_interval(const ConfigTable& table);

}  // namespace cellwarden

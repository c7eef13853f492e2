#include "daemon/config.h"

#include <cstring>

namespace cellwarden {

constexpr ConfigTable config_table = {{
    {"data_dir", CONFIG_TEXT},
    {"max_battlog_lines"},
    {"max_total_battlog_size"},
    {"battlog_with_all_events"},
    {"periodic_event_interval"},
    {"bmdbg_regupdate_interval"},
    {"fake_learning_completion"},
    {"battman_log_interval"},
    {"battman_log_categories0"},
    {"battman_log_categories1"},
    {"battman_log_categories2"},
    {"battman_log_categories3"},
    {"battman_log_level"},
}};

int32_t periodic_event_interval(const ConfigTable& table) {
    constexpr int32_t DEFAULT_EVENT_INTERVAL_S = 10;
    for (const ConfigEntry& entry : table) {
        if (strcmp(entry.key, "periodic_event_interval") == 0 && entry.is_set &&
            entry.value.integer >= 0) {
            return entry.value.integer;
        }
    }
    return DEFAULT_EVENT_INTERVAL_S;
}

}  // namespace cellwarden

#include "daemon/config.h"

#include <cstring>

namespace cellwarden {
namespace {

constexpr int32_t DEFAULT_EVENT_INTERVAL_S = 10;

constexpr ConfigEntry unset_integer(const char* key) {
    return {.key = key, .type = CONFIG_INTEGER, .is_set = false, .integer = 0};
}

constexpr ConfigEntry unset_text(const char* key) {
    return {.key = key, .type = CONFIG_TEXT, .is_set = false, .text = ""};
}

}  // namespace

constexpr ConfigTable config_table = {{
    unset_text("data_dir"),
    unset_integer("max_battlog_lines"),
    unset_integer("max_total_battlog_size"),
    unset_integer("battlog_with_all_events"),
    unset_integer("periodic_event_interval"),
    unset_integer("bmdbg_regupdate_interval"),
    unset_integer("fake_learning_completion"),
    unset_integer("battman_log_interval"),
    unset_integer("battman_log_categories0"),
    unset_integer("battman_log_categories1"),
    unset_integer("battman_log_categories2"),
    unset_integer("battman_log_categories3"),
    unset_integer("battman_log_level"),
}};

int32_t periodic_event_interval(const ConfigTable& table) {
    for (const ConfigEntry& entry : table) {
        if (strcmp(entry.key, "periodic_event_interval") == 0 && entry.is_set &&
            entry.integer >= 0) {
            return entry.integer;
        }
    }
    return DEFAULT_EVENT_INTERVAL_S;
}

}  // namespace cellwarden

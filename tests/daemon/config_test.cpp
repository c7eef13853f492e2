#include "daemon/config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

namespace cellwarden {
namespace {

TEST(Config, PeriodicEventInterval) {
    const std::tuple<const char*, const char*, int32_t, int32_t> rows[] = {
        {"as built, nothing is set", "", 0, 10},
        {"no light cycles", "periodic_event_interval", 0, 0},
        {"negative", "periodic_event_interval", -1, 10},
        {"another setting", "battman_log_interval", 60, 10},
    };
    for (const auto& [name, key, value, expected] : rows) {
        ConfigTable table = config_table;
        for (ConfigEntry& entry : table) {
            if (strcmp(entry.key, key) == 0) {
                entry.is_set = true;
                entry.value.integer = value;
            }
        }
        EXPECT_EQ(periodic_event_interval(table), expected) << name;
    }
}

}  // namespace
}  // namespace cellwarden

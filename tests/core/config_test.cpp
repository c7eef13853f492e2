#include "core/config.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/service_state.h"

namespace cellwarden {
namespace {

TEST(Config, NothingIsSetAsBuilt) {
    for (const ConfigEntry& entry : config_table) {
        EXPECT_FALSE(entry.is_set) << entry.key;
        EXPECT_EQ(entry.type == CONFIG_TEXT, strcmp(entry.key, "data_dir") == 0) << entry.key;
    }
}

TEST(Config, PeriodicEventInterval) {
    const struct {
        const char* name;
        const char* key;
        bool is_set;
        int32_t value;
        int32_t expected;
    } rows[] = {
        {"as built", "periodic_event_interval", false, 0, 10},
        {"set to no light cycles", "periodic_event_interval", true, 0, 0},
        {"set to a negative value", "periodic_event_interval", true, -5, 10},
        {"another setting", "battman_log_interval", true, 60, 10},
    };
    for (const auto& row : rows) {
        ConfigTable table = config_table;
        for (ConfigEntry& entry : table) {
            if (strcmp(entry.key, row.key) == 0) {
                entry.is_set = row.is_set;
                entry.integer = row.value;
            }
        }
        EXPECT_EQ(periodic_event_interval(table), row.expected) << row.name;
    }
}

TEST(ServiceState, StartValuesThatAreNotZero) {
    const ServiceState state;
    EXPECT_EQ(state.soft_charge_mode, -1);
    EXPECT_EQ(state.soh, -1);
    EXPECT_EQ(state.prev_soh_bucket_index, -1);
    EXPECT_EQ(state.prev_bucket_user_soh, 100000);
    EXPECT_EQ(sizeof state.vendor_model, 92U);
}

}  // namespace
}  // namespace cellwarden

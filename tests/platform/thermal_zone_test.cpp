#include "platform/thermal_zone.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sysfs_io.h"
#include "platform/wakelock.h"
#include "support/phone.h"
#include "support/process.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

std::string zone(int number, const char* file) {
    return "/sys/class/thermal/thermal_zone" + std::to_string(number) + "/" + file;
}

// The path, once found, is kept for the process's life.
TEST(ThermalZone, IsFoundByItsType) {
    struct Zone {
        int number;
        const char* type;
    };
    const struct {
        const char* name;
        std::vector<Zone> zones;
        int expected;  // -1: none
    } rows[] = {
        {"no zones", {}, -1},
        {"zone 99 is the last", {{99, "sdm_therm\n"}, {100, "sdm_therm\n"}}, 99},
        {"zone 100 is too many", {{100, "sdm_therm\n"}}, -1},
        {"a suffix", {{0, "sdm_therm_2\n"}}, -1},
        {"a prefix", {{0, "xsdm_therm\n"}}, -1},
        {"more lines", {{0, "sdm_therm\nmore\n"}}, 0},
        {"two of the type", {{12, "sdm_therm\n"}, {3, "sdm_therm\n"}}, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        in_own_process([&row] {
            for (const Zone& one : row.zones) {
                write_attribute(zone(one.number, "type"), one.type);
            }
            EXPECT_EQ(sdm_therm_path_gen(), row.expected < 0 ? "" : zone(row.expected, "temp"));
        });
        empty_sysfs();
    }
}

TEST(ThermalZone, IsLookedForUntilFoundAndThenKept) {
    in_own_process([] {
        EXPECT_STREQ(sdm_therm_path_gen(), "");
        write_attribute(zone(5, "type"), "sdm_therm\n");
        EXPECT_EQ(sdm_therm_path_gen(), zone(5, "temp"));
        empty_sysfs();
        write_attribute(zone(4, "type"), "sdm_therm\n");
        EXPECT_EQ(sdm_therm_path_gen(), zone(5, "temp"));
    });
}

TEST(ExternalThermalData, IsForwardedWhereItDiffers) {
    const struct {
        const char* name;
        const char* zone_temp;   // null: no zone
        const char* driver_has;  // null: no attribute
        const char* driver_gets;
    } rows[] = {
        {"another value", "31250\n", "300\n", "312\n"},
        {"the same value", "31250\n", "312", "312"},  // a write would end it in a newline
        {"toward zero below zero too", "-150\n", "0\n", "-1\n"},
        {"no zone reads as zero", nullptr, "300\n", "0\n"},
        {"no attribute is made", "31250\n", nullptr, "(no file)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        in_own_process([&row] {
            if (row.zone_temp != nullptr) {
                write_attribute(zone(7, "type"), "sdm_therm\n");
                write_attribute(zone(7, "temp"), row.zone_temp);
            }
            if (row.driver_has != nullptr) {
                write_attribute(PARAM_SDM_THERM, row.driver_has);
            }
            SysfsReadMask mask{};
            mask[PARAM_SDM_THERM] = mask[PARAM_SDM_THERM_ZONE_TEMP] = 1;
            SysfsParams snapshot;
            read_sysfs_params(snapshot, mask);
            provide_external_thermal_data(snapshot);
            cleanup_sysfs_params(snapshot);
            EXPECT_EQ(read_attribute(PARAM_SDM_THERM), row.driver_gets);
        });
        empty_sysfs();
    }
}

TEST(Wakelock, NameIsWrittenAndAFailureLogged) {
    take_wakelock();
    drop_wakelock();
    EXPECT_EQ(phone.log, (std::vector<std::string>{"<3>cellwarden: Unable to open: '/sys/power/wake_lock'",
                                                   "<3>cellwarden: Unable to open: '/sys/power/wake_unlock'"}));
    EXPECT_EQ(read_attribute("/sys/power/wake_lock"), "(no file)");

    phone.log.clear();
    write_attribute("/sys/power/wake_lock", "other ");
    write_attribute("/sys/power/wake_unlock", "");
    take_wakelock();
    EXPECT_EQ(read_attribute("/sys/power/wake_lock"), "other cellwarden-wakelock");
    EXPECT_EQ(read_attribute("/sys/power/wake_unlock"), "");
    drop_wakelock();
    EXPECT_EQ(read_attribute("/sys/power/wake_unlock"), "cellwarden-wakelock");
    EXPECT_TRUE(phone.log.empty());
}

}  // namespace
}  // namespace cellwarden

#include "platform/thermal_zone.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/wakelock.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

std::string zone(int number, const char* file) {
    return "/sys/class/thermal/thermal_zone" + std::to_string(number) + "/" + file;
}

TEST(ThermalZone, IsFoundByItsType) {
    const struct {
        const char* name;
        std::vector<std::pair<int, const char*>> zones;
        std::string expected;
    } rows[] = {
        {"no zones", {}, ""},
        {"zone 99 is the last", {{99, "sdm_therm\n"}, {100, "sdm_therm\n"}}, zone(99, "temp")},
        {"zone 100 is too many", {{100, "sdm_therm\n"}}, ""},
        {"no other names", {{0, "sdm_therm_2\n"}, {1, "xsdm_therm\n"}, {2, "sdm_ther"}}, ""},
        {"the first of two; more lines", {{12, "sdm_therm\n"}, {3, "sdm_therm\nmore\n"}}, zone(3, "temp")},
    };
    for (const auto& row : rows) {
        phone = StandIn{};
        EXPECT_STREQ(sdm_therm_path_gen(device), "") << row.name;
        for (const auto& [number, type] : row.zones) {
            phone.attributes[zone(number, "type")] = type;
        }
        // The path, once found, is kept; until then it is looked for.
        EXPECT_EQ(sdm_therm_path_gen(device), row.expected) << row.name;
        phone.attributes.clear();
        EXPECT_EQ(sdm_therm_path_gen(device), row.expected) << row.name;
    }
}

TEST(ExternalThermalData, IsForwardedWhereItDiffers) {
    const struct {
        const char* name;
        int32_t zone_temp, driver_has;
        const char* driver_gets;
        int32_t zone_kind = KIND_INTEGER, driver_kind = KIND_INTEGER;
    } rows[] = {{"another value", 31'250, 300, "312\n"},
                {"the same value", 31'250, 312, "as before"},
                {"toward zero below zero too", -150, 0, "-1\n"},
                {"no value of the zone", 31'250, 300, "as before", KIND_NOT_READ},
                {"no value of the driver", 31'250, 300, "as before", KIND_INTEGER, KIND_TEXT}};
    for (const auto& row : rows) {
        write_attribute(PARAM_SDM_THERM, "as before");
        SysfsParams snapshot =
            snapshot_of({{PARAM_SDM_THERM_ZONE_TEMP, row.zone_temp}, {PARAM_SDM_THERM, row.driver_has}});
        snapshot[PARAM_SDM_THERM_ZONE_TEMP].kind = row.zone_kind;
        snapshot[PARAM_SDM_THERM].kind = row.driver_kind;
        provide_external_thermal_data(device, snapshot);
        EXPECT_EQ(read_attribute(PARAM_SDM_THERM), row.driver_gets) << row.name;
    }
}

TEST(Wakelock, NameIsWrittenAndAFailureLogged) {
    take_wakelock(device);
    drop_wakelock(device);
    EXPECT_EQ(logs(), (Calls{"<3>cellwarden: Unable to open: '/sys/power/wake_lock'",
                             "<3>cellwarden: Unable to open: '/sys/power/wake_unlock'"}));
    write_file("/sys/power/wake_lock", "other ");
    write_file("/sys/power/wake_unlock", "");
    take_wakelock(device);
    EXPECT_EQ(read_file("/sys/power/wake_lock"), "other cellwarden-wakelock");
    drop_wakelock(device);
    EXPECT_EQ(read_file("/sys/power/wake_unlock"), "cellwarden-wakelock");
    EXPECT_EQ(logs().size(), 2U);
}

}  // namespace
}  // namespace cellwarden

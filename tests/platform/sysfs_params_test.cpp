#include "platform/sysfs_params.h"

#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <set>
#include <string>

#include "platform/thermal_zone.h"

namespace cellwarden {
namespace {

const char* const parameter_names[] = {
#define SYSFS_FIXED(id, name, path, format, table) #name,
#define SYSFS_GENERATED(id, name, generator, format, table) #name,
#include "platform/sysfs_params.inc"
#undef SYSFS_FIXED
#undef SYSFS_GENERATED
};

TEST(SysfsParamTable, RowsThatTheDaemonWritesOrDecidesBy) {
    const struct {
        SysfsParamId id;
        uint32_t number;
        const char* path;
        SysfsFormat format;
    } rows[] = {
        {PARAM_BATTERY_CAPACITY, 0, "power_supply/battery/capacity", FORMAT_DECIMAL},
        {PARAM_BATTERY_CHARGE_FULL, 7, "power_supply/battery/charge_full", FORMAT_DECIMAL},
        {PARAM_BATT_AGING_LEVEL, 32, "battchg_ext/batt_aging_level", FORMAT_DECIMAL},
        {PARAM_WLS_TYPE_TEXT, 57, "battchg_ext/wls_type", FORMAT_TEXT},
        {PARAM_REG_MISC_INT_RT_STS, 130, "battman_dbg/reg_misc_int_rt_sts", FORMAT_HEX},
        {PARAM_FV_0_VOTABLE_STATUS, 133, "battman_dbg2/fv_0_votable_status", FORMAT_TEXT},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.id, row.number) << row.path;
        EXPECT_EQ(SysfsParamTable[row.id].path, std::string("/sys/class/") + row.path);
        EXPECT_EQ(SysfsParamTable[row.id].format, row.format) << row.path;
    }
    EXPECT_EQ(PARAM_SDM_THERM_ZONE_TEMP, 78U);
    EXPECT_EQ(SysfsParamTable[78].path_generator, &sdm_therm_path_gen);
}

TEST(SysfsParamTable, FormatsPathsAndNamesFitTogether) {
    std::map<uint32_t, int> rows_of_format;
    std::set<std::string> paths;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        const SysfsParamDesc& desc = SysfsParamTable[id];
        rows_of_format[desc.format]++;
        EXPECT_EQ(desc.enum_table != nullptr, desc.format == FORMAT_ENUM) << id;
        if (id == PARAM_SDM_THERM_ZONE_TEMP) {
            continue;
        }
        const std::string path = desc.path;
        EXPECT_EQ(paths.insert(path).second, id != PARAM_WLS_TYPE_TEXT) << path;
        // A name ends in its attribute's, so no rule that names a parameter meets another file.
        std::string attribute = path.substr(path.rfind('/') + 1);
        for (char& c : attribute) {
            c = static_cast<char>(toupper(c));
        }
        const std::string name = parameter_names[id];
        EXPECT_TRUE(name.ends_with(attribute) || name == attribute + "_TEXT") << name << " " << path;
    }
    EXPECT_EQ(rows_of_format,
              (std::map<uint32_t, int>{{FORMAT_DECIMAL, 68}, {FORMAT_HEX, 49}, {FORMAT_TEXT, 12}, {FORMAT_ENUM, 5}}));
}

}  // namespace
}  // namespace cellwarden

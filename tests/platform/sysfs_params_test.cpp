#include "platform/sysfs_params.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
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
    const std::pair<SysfsParamId, std::string> rows[] = {
        {PARAM_BATTERY_CHARGE_FULL, "7 power_supply/battery/charge_full"},
        {PARAM_BATT_AGING_LEVEL, "32 battchg_ext/batt_aging_level"},
        {PARAM_WLS_TYPE_TEXT, "57 battchg_ext/wls_type"},
        {PARAM_REG_MISC_INT_RT_STS, "130 battman_dbg/reg_misc_int_rt_sts"},
        {PARAM_FV_0_VOTABLE_STATUS, "133 battman_dbg2/fv_0_votable_status"},
    };
    for (const auto& [id, expected] : rows) {
        EXPECT_EQ(std::to_string(id) + " " + (SysfsParamTable[id].path + strlen("/sys/class/")), expected);
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
        std::transform(attribute.begin(), attribute.end(), attribute.begin(), toupper);
        const std::string name = parameter_names[id];
        EXPECT_TRUE(name.ends_with(attribute) || name == attribute + "_TEXT") << name << " " << path;
    }
    EXPECT_EQ(rows_of_format,
              (std::map<uint32_t, int>{{FORMAT_DECIMAL, 68}, {FORMAT_HEX, 49}, {FORMAT_TEXT, 12}, {FORMAT_ENUM, 5}}));
}

}  // namespace
}  // namespace cellwarden

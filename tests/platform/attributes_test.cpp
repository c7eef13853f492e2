// The table of attributes equals a list that does not come from the code.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "platform/sysfs_params.h"
#include "platform/thermal_zone.h"
#include "support/rows.h"

namespace cellwarden {
namespace {

using namespace test;

std::string format_name(uint32_t format) {
    static const char* const NAMES[] = {"decimal", "hex", "float", "text", "enum"};
    return format < std::size(NAMES) ? NAMES[format] : "format " + std::to_string(format);
}

// "Charging=1|Full=2|=0"; the row without a text has the value of every other text.
std::string texts_of(const SysfsEnumEntry* row) {
    if (row == nullptr) {
        return "";
    }
    std::string texts;
    for (; row->text != nullptr; row++) {
        texts += row->text + ("=" + std::to_string(row->value.integer)) + "|";
    }
    return texts + "=" + std::to_string(row->value.integer);
}

const char* const parameter_names[] = {
#define SYSFS_PARAM(id, name, path, format, table) #name,
#include "product/attributes.inc"
};

TEST(SysfsParamTable, IsTheListOfAttributes) {
    const auto rows = rows_of(ATTRIBUTES, ',');
    EXPECT_EQ(rows.size(), SYSFS_PARAM_COUNT);
    for (size_t id = 0; id < std::min(rows.size(), SYSFS_PARAM_COUNT); id++) {
        const SysfsParamDesc& desc = SysfsParamTable[id];
        EXPECT_EQ(rows[id].at(0), std::to_string(id));
        EXPECT_EQ(desc.path_is_generated == 0 ? desc.path : "(thermal zone)", rows[id].at(1)) << id;
        EXPECT_EQ(format_name(desc.format), rows[id].at(2)) << rows[id].at(1);
        EXPECT_EQ(texts_of(desc.enum_table), rows[id].at(3)) << rows[id].at(1);
        // A parameter's name ends with its attribute's name, so that a rule cannot use another file.
        std::string attribute = rows[id].at(1).substr(rows[id].at(1).rfind('/') + 1);
        std::transform(attribute.begin(), attribute.end(), attribute.begin(), toupper);
        const std::string name = parameter_names[id];
        EXPECT_TRUE(name.ends_with(attribute) || name == attribute + "_TEXT" || desc.path_is_generated == 1) << name;
    }
    EXPECT_EQ(SysfsParamTable[PARAM_SDM_THERM_ZONE_TEMP].path_generator, &sdm_therm_path_gen);
}

}  // namespace
}  // namespace cellwarden

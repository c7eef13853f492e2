// Stored numbers as text and JSON, and the labels of array elements.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>

#include "decode/labels.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "support/rows.h"

namespace cellwarden::decode {
namespace {

// Names of units that no field of the record has.
FieldUnit unit_named(const std::string& name) {
    std::map<std::string, FieldUnit> units = {{"MILLI_SOH", FieldUnit::MILLI_SOH}, {"UV", FieldUnit::UV}};
#define BATT_STAT_FIELD(offset, field, unit, ...) units[#unit] = FieldUnit::unit;
#define BATT_STAT_RESERVED(offset, bytes)
#include "state/batt_stat_fields.inc"
#undef BATT_STAT_FIELD
    return units.at(name);
}

TEST(Reading, OfEveryUnit) {
    for (const test::Row& row : test::values_of(DECODE_TESTS "/readings.csv")) {
        const FieldUnit unit = unit_named(row.at(0));
        const int64_t stored = std::stoll(row.at(1));
        EXPECT_EQ(reading_text(unit, stored), row.at(2));
        EXPECT_EQ(reading_json(unit, stored).dump(), row.at(3)) << row.at(2);
        EXPECT_EQ(reading_unit(unit), row.at(4)) << row.at(2);
    }
    EXPECT_EQ(plain_number(98.5, 3), "98.5");
    EXPECT_EQ(plain_number(-0.125, 2) + plain_number(100, 0) + plain_number(10, 2), "-0.1210010");
    EXPECT_EQ(grouped(999) + " " + grouped(9728) + " " + grouped(1'234'567), "999 9,728 1,234,567");
    EXPECT_EQ(offset_text(0x2C) + offset_text(0x12345), "0x002C0x12345");
}

TEST(Label, OfTheElementsOfArrays) {
    for (const test::Row& row : test::values_of(DECODE_TESTS "/labels.csv")) {
        EXPECT_EQ(element_label(row.at(0), std::stoul(row.at(1))), row.at(2)) << row.at(0) << "[" << row.at(1) << "]";
    }
}

TEST(Layout, AnOffsetHasItsFieldElementAndBytes) {
    for (const test::Row& row : test::values_of(DECODE_TESTS "/places.csv")) {
        EXPECT_EQ(place_of(std::stoul(row.at(0), nullptr, 16)), row.at(1)) << row.at(0);
    }
    BattStat stat;
    reset_batt_stat(stat);
    stat.max_temp = -7;
    stat.initialized_time = 0x1122334455667788;
    stat.dev_attach[3].dev_charge_count = 0xFFFFFFFE;
    const auto value = [&](const char* name, size_t index = 0) {
        return stored_value(stat, *find_record_field(name), index);
    };
    EXPECT_EQ(value("max_temp"), -7);
    EXPECT_EQ(value("initialized_time"), 0x1122334455667788);
    EXPECT_EQ(value("dev_charge_count", 3), 0xFFFFFFFE);
    EXPECT_EQ(value("arrhenius_lv"), 255);
    EXPECT_EQ(find_record_field("online"), nullptr);
    stat.battery_model_name.fill('x');
    EXPECT_EQ(stored_text(stat, *find_record_field("battery_model_name")), std::string(16, 'x'));
}

}  // namespace
}  // namespace cellwarden::decode

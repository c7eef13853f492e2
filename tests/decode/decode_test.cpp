// How stored numbers read, and what the elements of arrays stand for.
#include <gtest/gtest.h>

#include "decode/labels.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "decode/verdict.h"

namespace cellwarden::decode {
namespace {

using enum FieldUnit;

TEST(Reading, OfEveryUnit) {
    const struct {
        FieldUnit unit;
        int64_t stored;
        const char* text;
        const char* json;
        const char* name;  // of the unit
    } rows[] = {
        {MARKER, 1, "1", "1", ""},
        {COUNT, 4711, "4711", "4711", ""},
        {MAH, 4810, "4810 mAh", "4810", "mAh"},
        {MA, -3456, "-3456 mA", "-3456", "mA"},
        {CELL_MV, 4477, "4477 mV", "4477", "mV"},
        {UV, 4'477'001, "4.477001 V", "4.477001", "V"},
        {PERCENT, 98, "98 %", "98", "%"},
        {HALF_SOH, 49'251, "98.502 %", "98.502", "%"},
        {MILLI_SOH, 98'501, "98.501 %", "98.501", "%"},
        {MICROPERCENT, 15'625, "0.015625 %", "0.015625", "%"},
        {SOC, 12'345, "1.2345 full charges", "1.2345", "full charges"},
        {ARRHENIUS, 70'000, "70000 s at 45 degC and 4.48 V", "70000", "s at 45 degC and 4.48 V"},
        {DECIC, -123, "-12.3 degC", "-12.3", "degC"},
        {DECIC, INT16_MIN, "none yet", "null", "degC"},
        {DECIC, INT16_MAX, "none yet", "null", "degC"},
        {DECIC, 0, "0.0 degC", "0.0", "degC"},
        {LEVEL, 5, "5", "5", ""},
        {LEVEL, 0, "0", "0", ""},
        {LEVEL, 255, "not decided", "null", ""},
        {LEVEL, 4'294'967'295, "not decided", "null", ""},
        {CODE, 0xD3, "0xD3, the driver is given level 3", "211", ""},
        {CODE, 0xE0, "0xE0, soft charge is suspended", "224", ""},
        {CODE, 0x05, "0x05, no override", "5", ""},
        {SECONDS, 0, "0", "0", "s"},
        {SECONDS, 86'400 + 3661, "1 d 01:01:01", "90061", "s"},
        {SECONDS, -5, "-5 s", "-5", "s"},
        {ONLINE_S, 863'999, "9 d 23:59:59", "863999", "s"},
        {WALL_S, 0, "not yet", "null", "s"},
        {WALL_S, 1'772'349'165, "2026-03-01 07:12:45 UTC", R"("2026-03-01T07:12:45Z")", "s"},
        {WALL_S, 253'402'300'799, "9999-12-31 23:59:59 UTC", R"("9999-12-31T23:59:59Z")", "s"},
        {WALL_S, 253'402'300'800, "253402300800 s since 1970", "null", "s"},
        {WALL_S, -1, "-1 s since 1970", "null", "s"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(reading_text(row.unit, row.stored), row.text);
        EXPECT_EQ(reading_json(row.unit, row.stored).dump(), row.json) << row.text;
        EXPECT_STREQ(reading_unit(row.unit), row.name) << row.text;
    }
    EXPECT_EQ(plain_number(98.5, 3), "98.5");
    EXPECT_EQ(plain_number(-0.125, 2) + plain_number(100, 0) + plain_number(10, 2), "-0.1210010");
    EXPECT_EQ(grouped(999) + " " + grouped(9728) + " " + grouped(1'234'567), "999 9,728 1,234,567");
    EXPECT_EQ(offset_text(0x2C) + offset_text(0x12345), "0x002C0x12345");
}

TEST(Label, OfTheElementsOfArrays) {
    const struct {
        const char* field;
        size_t index;
        const char* label;
    } rows[] = {
        {"fcc_mah", 2, "[2]"},
        {"vt_cet_table", 0, "above 4.54 V, above 60 degC"},
        {"vt_cet_table", 17, "4.53 to 4.54 V, 55 to 60 degC"},
        {"vt_cet_table", 671, "up to 3.00 V, up to -10 degC"},
        {"ct_charge_table", 15, "above 90 %, up to -10 degC"},
        {"ct_charge_table", 159, "up to 10 %, up to -10 degC"},
        {"ct_charge_table", 28, "80 to 90 %, 0 to 5 degC"},
        {"user_soh_per_10days", 3, "10 days from day 30"},
        {"arrhenius_lv", 251, "10 days from day 2510"},
        {"full_stay_capacity_degradation_aging_lv", 1, "10 days from day 10"},
        {"first_soh_time", 0, "below 95 %"},
        {"first_soh_time", 8, "below 20 %"},
        {"soft_charge1_onlinetime", 0, "level 1"},
        {"soft_charge5_onlinetime", 4, "level 5"},
        {"max_discharge_time", 0, "any"},
        {"max_discharge_time", 1, "below 10 degC, below 3.5 V"},
        {"total_discharge_time", 0, "over 2 A"},
        {"total_discharge_time", 1, "over 3 A"},
        {"total_discharge_time", 2, "over 2 A, below 15 degC"},
        {"total_discharge_time", 7, "over 2 A, below 0 degC, below 3.8 V"},
        {"thermal_range_stay_time", 0, "thermal level 0"},
        {"thermal_range_stay_time", 1, "thermal levels 1 to 12"},
        {"thermal_range_stay_time", 2, "thermal level 13"},
        {"thermal_level_time", 7, "thermal level 7"},
        {"dev_attach_count", 0, "class 0, type 5"},
        {"dev_attach_count", 4, "class 4, type 7, 8, 9"},
        {"dev_charge_count", 7, "class 7, type 15, 16, up to 20 W"},
        {"dev_charge_count", 11, "class 11, type 15, 16, over 65 W"},
        {"dev_attach_total_time", 12, "class 12, not assigned"},
        {"dev_attach_total_time", 14, "class 14, type 22"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(element_label(row.field, row.index), row.label) << row.field << "[" << row.index << "]";
    }
}

TEST(Layout, AnOffsetHasItsFieldElementAndBytes) {
    const struct {
        size_t offset;
        const char* place;
    } rows[] = {{0, "initialize"},
                {1, "version[0]"},
                {0x0D, "fcc_mah[4]"},
                {0x2B, "online_time"},
                {0x2C, "reserved bytes"},
                {0x0F14, "dev_attach_total_time[1]"},
                {0x0F18, "dev_charge_count[1]"},
                {0x0F1C, "reserved bytes"},
                {0x25F7, "predicted_soh_per_10days[251]"}};
    for (const auto& row : rows) {
        EXPECT_EQ(place_of(row.offset), row.place);
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

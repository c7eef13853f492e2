// What the simulated phone shows in its attributes.
#include "bench/phone/phone_attributes.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "bench/kernel_log.h"
#include "bench/uevent_sender.h"

namespace cellwarden::bench {
namespace {

std::map<uint32_t, std::string> texts_of(const Phone& phone) {
    std::map<uint32_t, std::string> texts;
    for (const auto& list : {start_attributes(phone), live_attributes(phone)}) {
        for (const AttributeText& attribute : list) {
            EXPECT_TRUE(texts.emplace(attribute.id, attribute.text).second) << attribute.id;
        }
    }
    return texts;
}

TEST(PhoneAttributes, EveryParameterHasOneText) {
    const auto texts = texts_of(Phone{});
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        EXPECT_TRUE(texts.count(id) == 1 && !texts.at(id).empty()) << id;
    }
}

TEST(PhoneAttributes, UnitsAndWordsAreTheKernels) {
    Phone phone;
    phone.battery.soc = 0.5;
    phone.battery.temp_c = 45.04;
    phone.thermal_zone = 42;
    phone.charger.source = Source::USB;
    phone.charger.type = "HVDCP_3";
    phone.charger.watts = 18;
    advance_phone(phone, 0);
    const auto texts = texts_of(phone);
    const struct {
        SysfsParamId id;
        const char* text;
    } rows[] = {
        {PARAM_BATTERY_CAPACITY, "50"},
        {PARAM_BATTERY_STATUS, "Charging"},
        {PARAM_BATTERY_HEALTH, "Warm"},
        {PARAM_BATTERY_TEMP, "450"},
        {PARAM_BATTERY_VOLTAGE_NOW, "4015000"},  // 3.88 V and half of 4.5 A over 60 mOhm
        {PARAM_BATTERY_CURRENT_NOW, "2250000"},
        {PARAM_BATTERY_CHARGE_FULL_DESIGN, "5000000"},
        {PARAM_BATT_SOC, "5000"},
        {PARAM_VCELL_MAX, "4015"},
        {PARAM_USB_ONLINE, "1"},
        {PARAM_USB_VOLTAGE_NOW, "9000000"},
        {PARAM_QCOM_USB_REAL_TYPE, "HVDCP_3"},
        {PARAM_WIRELESS_ONLINE, "0"},
        {PARAM_CHARGER_MAX_WATTAGE, "18000000"},
        {PARAM_SDM_THERM_ZONE_TEMP, "49040"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(texts.at(row.id), row.text) << attribute_path(phone, row.id);
    }
    EXPECT_EQ(attribute_path(phone, PARAM_SDM_THERM_ZONE_TEMP),
              "/sys/class/thermal/thermal_zone42/temp");
}

TEST(PhoneAttributes, TheDriverObeysItsSwitches) {
    Phone phone;
    obey_attribute_write(phone, PARAM_LRC_CHARGE_DISABLE, "1");
    obey_attribute_write(phone, PARAM_LRC_INPUT_SUSPEND, "1");
    obey_attribute_write(phone, PARAM_USB_INPUT_SUSPEND, "1");
    obey_attribute_write(phone, PARAM_BATT_AGING_LEVEL, "3");
    EXPECT_TRUE(phone.charger.lrc_charge_disable);
    EXPECT_TRUE(phone.charger.lrc_input_suspend);
    EXPECT_TRUE(phone.charger.usb_input_suspend);
    EXPECT_EQ(phone.charger.ageing_level, 3);
    obey_attribute_write(phone, PARAM_LRC_CHARGE_DISABLE, "0");
    EXPECT_FALSE(phone.charger.lrc_charge_disable);
    EXPECT_TRUE(phone.charger.lrc_input_suspend);
}

TEST(Uevent, OnlyAPowerSupplyNamesItself) {
    const std::string usb = uevent_text("power_supply", "usb");
    EXPECT_EQ(usb.find("change@/devices/"), 0U);
    EXPECT_EQ(usb.back(), '\0');
    EXPECT_NE(usb.find(std::string("\0POWER_SUPPLY_NAME=usb\0", 23)), usb.npos);
    EXPECT_EQ(uevent_text("thermal", "usb").find("POWER_SUPPLY_NAME"), usb.npos);
}

TEST(KernelLog, SplitsWhatWasReadIntoRecords) {
    const struct {
        const char* name;
        std::string bytes;
        std::vector<LogRecord> records;
    } rows[] = {
        {"nothing", "", {}},
        {"one with a newline", "<3>cellwarden: a\n", {{3, "cellwarden: a"}}},
        {"one without", "<3>cellwarden: a", {{3, "cellwarden: a"}}},
        {"two, the first without", "<3>a: 1<4>b: 2\n", {{3, "a: 1"}, {4, "b: 2"}}},
        {"two with newlines", "<3>a: 1\n<3>b: 2\n", {{3, "a: 1"}, {3, "b: 2"}}},
        {"no level", "plain\n", {{-1, "plain"}}},
        {"no level either", "<9>x<a>", {{-1, "<9>x<a>"}}},
        {"cut after the level's beginning", "<3", {{-1, "<3"}}},
    };
    for (const auto& row : rows) {
        const auto records = split_log_records(row.bytes);
        ASSERT_EQ(records.size(), row.records.size()) << row.name;
        for (size_t i = 0; i < records.size(); i++) {
            EXPECT_EQ(records[i].level, row.records[i].level) << row.name;
            EXPECT_EQ(records[i].text, row.records[i].text) << row.name;
        }
    }
}

}  // namespace
}  // namespace cellwarden::bench

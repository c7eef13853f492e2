// The simulated phone follows the physics of its headers. The expected values were calculated by hand
// from the statements there.
#include "phone/phone.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "phone/phone_attributes.h"
#include "support/rows.h"

namespace cellwarden::phone {
namespace {

constexpr double HOUR_S = 3600;

Phone plugged(Source source, const char* type, double watts, double soc = 0.5) {
    Phone phone;
    phone.battery.soc = soc;
    phone.charger.source = source;
    phone.charger.type = type;
    phone.charger.watts = watts;
    return phone;
}

TEST(Battery, OpenCircuitVoltageRisesWithTheChargeAndDeterminesIt) {
    const std::pair<double, double> rows[] = {{-0.1, 3.30}, {0, 3.30},    {0.01, 3.40}, {0.5, 3.88},
                                              {0.75, 4.14}, {0.95, 4.40}, {1, 4.47},    {1.2, 4.47}};
    for (const auto& [soc, volts] : rows) {
        EXPECT_NEAR(open_circuit_uv(soc), volts * 1e6, 1) << "state of charge " << soc;
    }
    for (int percent = 0; percent < 100; percent++) {
        const double rise_uv = open_circuit_uv((percent + 1) / 100.0) - open_circuit_uv(percent / 100.0);
        EXPECT_GE(rise_uv, 4'000) << percent << " %";
        EXPECT_LE(rise_uv, percent < 2 ? 100'000 : 40'000) << percent << " %";
        EXPECT_NEAR(soc_at_open_circuit(open_circuit_uv(percent / 100.0)), percent / 100.0, 1e-9);
    }
    EXPECT_EQ(soc_at_open_circuit(3'000'000), 0);
    EXPECT_EQ(soc_at_open_circuit(5'000'000), 1);
}

TEST(Battery, CountsChargeRelativeToTheRemainingCapacity) {
    const struct {
        const char* name;
        double health, soc, current_ua, seconds, wanted_soc;
    } rows[] = {{"half an hour at 1C", 1, 0.2, 5e6, HOUR_S / 2, 0.7},
                {"an aged cell fills faster", 0.8, 0.2, 2e6, HOUR_S, 0.7},
                {"an aged cell empties faster", 0.8, 0.7, -2e6, HOUR_S, 0.2},
                {"ends at full", 1, 0.9, 5e6, HOUR_S, 1},
                {"ends at empty", 1, 0.1, -5e6, HOUR_S, 0}};
    for (const auto& row : rows) {
        Battery battery{.state_of_health = row.health, .soc = row.soc};
        advance_battery(battery, row.current_ua, 25, 0, row.seconds);
        EXPECT_NEAR(battery.soc, row.wanted_soc, 1e-9) << row.name;
        const double drop_uv = row.current_ua * 0.060;  // 60 mOhm
        EXPECT_NEAR(terminal_uv(battery), open_circuit_uv(battery.soc) + drop_uv, 1e-3) << row.name;
    }
}

TEST(Battery, WarmsBy8KPerWattIn800S) {
    constexpr double FOREVER_S = 1e6;
    constexpr double SHARE = 0.6321205588;  // 1 - 1/e
    const struct {
        const char* name;
        double start_c, current_ua, ambient_c, other_w, seconds, wanted_c;
    } rows[] = {{"at rest it stays", 25, 0, 25, 0, FOREVER_S, 25},
                {"heat of its resistance: 4 A^2 x 60 mOhm", 25, 2e6, 25, 0, FOREVER_S, 25 + 8 * 0.24},
                {"the same while discharging", 25, -2e6, 25, 0, FOREVER_S, 25 + 8 * 0.24},
                {"other heat", 25, 0, 25, 1.5, FOREVER_S, 37},
                {"warms for one time constant", 20, 0, 20, 1, 800, 20 + 8 * SHARE},
                {"cools for one time constant", 45, 0, 25, 0, 800, 45 - 20 * SHARE},
                {"no time", 45, 2e6, 25, 5, 0, 45}};
    for (const auto& row : rows) {
        Battery battery{.temp_c = row.start_c};
        advance_battery(battery, row.current_ua, row.ambient_c, row.other_w, row.seconds);
        EXPECT_NEAR(battery.temp_c, row.wanted_c, 1e-6) << row.name;
    }
}

TEST(Charger, LimitsCurrentAndVoltageByLevelAndTemperature) {
    const struct {
        int ageing_level, thermal_level;
        double temp_c, wanted_ma, wanted_v;
    } rows[] = {{0, 0, 25, 4500, 4.48},   {1, 0, 25, 4275, 4.46},  {5, 0, 25, 3375, 4.38},   {0, 5, 25, 3150, 4.48},
                {0, 15, 25, 450, 4.48},   {3, 10, 25, 1530, 4.42}, {0, 0, -0.1, 0, 4.48},    {0, 0, 0, 4500, 4.48},
                {0, 0, 44.9, 4500, 4.48}, {0, 0, 45, 2250, 4.48},  {0, 0, 59.9, 2250, 4.48}, {0, 0, 60, 0, 4.48}};
    for (const auto& row : rows) {
        Charger charger;
        charger.thermal_level = row.thermal_level;
        charger.ageing_level = row.ageing_level;
        EXPECT_NEAR(charge_current_limit_ua(charger, {.temp_c = row.temp_c}), row.wanted_ma * 1e3, 1)
            << "ageing level " << row.ageing_level << ", thermal level " << row.thermal_level << ", " << row.temp_c;
        EXPECT_NEAR(float_voltage_uv(charger), row.wanted_v * 1e6, 1) << "ageing level " << row.ageing_level;
    }
}

// At 50 % the open-circuit voltage is 3.88 V; a load of 250 mA takes 0.97 W.
TEST(Charger, SharesThePowerOfItsSource) {
    for (const test::Row& row : test::values_of(PHONE_TESTS "/power.csv")) {
        const Source source = row.at(1) == "USB"        ? Source::USB
                              : row.at(1) == "wireless" ? Source::WIRELESS
                                                        : Source::NONE;
        Phone phone = plugged(source, "", test::number(row, 2), test::number(row, 3));
        phone.charger.usb_input_suspend = row.at(4) == "usb";
        phone.charger.lrc_input_suspend = row.at(4) == "input";
        phone.charger.lrc_charge_disable = row.at(4) == "charge";
        const PowerFlow flow = share_power(phone.charger, phone.battery, 250e3);
        EXPECT_NEAR(flow.battery_ua, test::number(row, 5) * 1e3, 1) << row.at(0);
        EXPECT_NEAR(flow.input_w, test::number(row, 6), 1e-4) << row.at(0);
        EXPECT_EQ(flow.input_limited, row.at(7) == "yes") << row.at(0);
        EXPECT_EQ(status_text(flow.status), row.at(8)) << row.at(0);
    }
}

// Charging ends at 0.05C x 60 mOhm = 15 mV below the float voltage and resumes 40 mV below that.
TEST(Charger, StaysFullUntilTheChargeHasFallen) {
    Phone phone = plugged(Source::USB, "PD", 27, 0.9965);
    const auto status_at = [&](double soc) {
        phone.battery.soc = soc;
        return share_power(phone.charger, phone.battery, 0).status;
    };
    EXPECT_EQ(status_at(0.9963), ChargeStatus::CHARGING);
    EXPECT_EQ(status_at(0.9965), ChargeStatus::FULL);
    EXPECT_EQ(status_at(0.9680), ChargeStatus::FULL);
    EXPECT_EQ(status_at(0.9678), ChargeStatus::CHARGING);
    EXPECT_EQ(status_at(0.9965), ChargeStatus::FULL);
    phone.charger.source = Source::NONE;
    EXPECT_EQ(status_at(0.98), ChargeStatus::DISCHARGING);
    phone.charger.source = Source::USB;
    EXPECT_EQ(status_at(0.98), ChargeStatus::CHARGING) << "a reconnected source starts a new charge";

    EXPECT_NEAR(end_of_charge_soc(phone.charger, phone.battery), 0.99643, 1e-5);
    EXPECT_EQ((phone.battery.soc = 0.9, capacity_percent(phone)), 90);
    phone.charger.ageing_level = 5;
    EXPECT_NEAR(end_of_charge_soc(phone.charger, phone.battery), 0.925, 1e-5);
    EXPECT_EQ((phone.battery.soc = 0.93, capacity_percent(phone)), 100);
}

TEST(Phone, ChargeIsConservedAndAChargeEndsFull) {
    for (const int level : {0, 5}) {
        Phone phone = plugged(Source::USB, "PD", 27, 0.2);
        phone.charger.ageing_level = level;
        double put_in_uah = 0;
        for (int step = 0; step < 3 * 360; step++) {
            advance_phone(phone, 10);
            put_in_uah += phone.flow.battery_ua * 10 / HOUR_S;
        }
        EXPECT_EQ(phone.flow.status, ChargeStatus::FULL) << level;
        EXPECT_EQ(capacity_percent(phone), 100) << level;
        EXPECT_NEAR(put_in_uah, (phone.battery.soc - 0.2) * 5e6, 1) << level;
        EXPECT_LE(terminal_uv(phone.battery), float_voltage_uv(phone.charger) + 1) << level;
    }
    Phone once = plugged(Source::USB, "PD", 27, 0.2);
    Phone often = once;
    advance_phone(once, 65);
    for (const double seconds : {10, 10, 10, 10, 10, 10, 5}) {
        advance_phone(often, seconds);
    }
    EXPECT_EQ(once.battery.soc, often.battery.soc) << "steps of 10 s at most";
}

// 2 A at 3.88 V: 15 % of the load and 5 % of the source's power warm the battery.
TEST(Phone, LoadAndConverterWarmTheBattery) {
    Phone phone = plugged(Source::USB, "PD", 27);
    phone.charger.lrc_charge_disable = true;
    phone.load_ma = 2000;
    phone.ambient_c = 20;
    advance_phone(phone, 20'000);
    EXPECT_NEAR(phone.battery.temp_c, 20 + 8 * 7.76 * (0.15 + 0.05 / 0.9), 0.01);
    EXPECT_NEAR(board_temp_c(phone) - phone.battery.temp_c, 3 + 4 * 2, 1e-9);
}

TEST(Phone, HealthFollowsTheTemperature) {
    const std::pair<double, const char*> rows[] = {{-0.1, "Cold"}, {0, "Good"},    {44.9, "Good"},
                                                   {45, "Warm"},   {59.9, "Warm"}, {60, "Hot"}};
    for (const auto& [temp_c, text] : rows) {
        EXPECT_STREQ(health_text(temp_c), text) << temp_c;
    }
}

std::map<std::string, std::string> texts_of(const Phone& phone) {
    std::map<std::string, std::string> texts;
    for (const auto& attributes : {live_attributes(phone), start_attributes(phone)}) {
        for (const AttributeText& attribute : attributes) {
            texts[std::string(attribute_name(attribute_path(phone, attribute.id)))] = attribute.text;
        }
    }
    return texts;
}

// Compares the texts with the lines "NAME TEXT" in a section of attributes.txt.
void expect_texts(const Phone& phone, const std::string& section) {
    const auto texts = texts_of(phone);
    std::ifstream file(PHONE_TESTS "/attributes.txt");
    std::string line;
    while (std::getline(file, line) && line != "[" + section + "]") {
    }
    int count = 0;
    for (; std::getline(file, line) && line[0] != '['; count++) {
        const size_t blank = line.find(' ');
        const auto found = texts.find(line.substr(0, blank));
        EXPECT_EQ(found == texts.end() ? "" : found->second, line.substr(blank + 1)) << section << ": " << line;
    }
    EXPECT_GT(count, 0) << section;
}

// 50 %, state of health 90 %, 46 degC: the driver halves 0.9C, and subtracts 10 % for level 2 and 18 %
// for thermal level 3 of 15. At level 2, a charge ends at 96.786 %.
TEST(Attributes, ShowTheChargingPhone) {
    Phone phone = plugged(Source::USB, "PD", 27);
    phone.battery.state_of_health = 0.9;
    phone.battery.temp_c = 46.04;
    phone.charger.thermal_level = 3;
    phone.charger.ageing_level = 2;
    phone.load_ma = 500;
    phone.shutdown_phase = 1;
    phone.learning_count = 6;
    advance_phone(phone, 0);
    expect_texts(phone, "charging");
    phone.gauge_uah = 4.7e6;
    phone.charger.watts = 5;  // too weak for the current that the battery accepts
    advance_phone(phone, 0);
    expect_texts(phone, "limited by its source");
}

TEST(Attributes, ShowAWirelessChargerAndNone) {
    Phone phone = plugged(Source::WIRELESS, "EPP", 15.9);
    phone.battery.temp_c = 45;
    advance_phone(phone, 0);
    expect_texts(phone, "wireless");
    phone = Phone{};
    phone.thermal_zone = 12;
    advance_phone(phone, 0);
    expect_texts(phone, "unplugged");
    expect_texts(phone, "start");
}

TEST(Attributes, KnowEachKindOfCharger) {
    for (const char* const type : {"SDP", "DCP", "CDP", "C", "HVDCP", "HVDCP_3", "HVDCP_3P5", "PD_PPS"}) {
        expect_texts(plugged(Source::USB, type, 10), type);
    }
    expect_texts(plugged(Source::WIRELESS, "BPP", 5), "BPP");
}

TEST(Attributes, EveryParameterHasATextAndAPathOfItsOwn) {
    const Phone phone;
    std::map<std::string, std::string> texts;
    std::set<SysfsParamId> ids;
    for (const auto& attributes : {live_attributes(phone), start_attributes(phone)}) {
        for (const AttributeText& attribute : attributes) {
            EXPECT_TRUE(ids.insert(attribute.id).second) << attribute.id;
            const auto [known, is_new] = texts.emplace(attribute_path(phone, attribute.id), attribute.text);
            EXPECT_EQ(known->second, attribute.text) << known->first;
            EXPECT_FALSE(attribute.text.empty()) << known->first;
        }
    }
    EXPECT_EQ(ids.size(), SYSFS_PARAM_COUNT);
    EXPECT_EQ(attribute_name("/a/b/c"), "b/c");
    EXPECT_EQ(attribute_name("c"), "c");
}

TEST(Attributes, TheDriverObeysFourOfThem) {
    const auto after = [](SysfsParamId id, const char* text) {
        Phone phone;
        obey_attribute_write(phone, id, text);
        const Charger& charger = phone.charger;
        return std::to_string(charger.usb_input_suspend) + std::to_string(charger.lrc_charge_disable) +
               std::to_string(charger.lrc_input_suspend) + std::to_string(charger.ageing_level);
    };
    EXPECT_EQ(after(PARAM_USB_INPUT_SUSPEND, "1"), "1000");
    EXPECT_EQ(after(PARAM_LRC_CHARGE_DISABLE, "1"), "0100");
    EXPECT_EQ(after(PARAM_LRC_INPUT_SUSPEND, "1"), "0010");
    EXPECT_EQ(after(PARAM_BATT_AGING_LEVEL, "4"), "0004");
    EXPECT_EQ(after(PARAM_BATT_AGING_LEVEL, "9"), "0005");
    EXPECT_EQ(after(PARAM_BATT_AGING_LEVEL, "-1"), "0000");
    EXPECT_EQ(after(PARAM_SDM_THERM, "1"), "0000");
}

}  // namespace
}  // namespace cellwarden::phone

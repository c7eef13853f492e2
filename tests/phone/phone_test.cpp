// The simulated phone against the physics that its headers state. Expected values are worked out by
// hand from those statements.
#include "phone/phone.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "phone/phone_attributes.h"
#include "support/named.h"
#include "support/rows.h"

namespace cellwarden::phone {
namespace {

constexpr double HOUR_S = 3600;

// A phone with the values that a text names: "soc=0.2 usb=PD watts=27"; every other is that of a new phone.
Phone phone_of(const std::string& text) {
    Phone phone;
    Battery& battery = phone.battery;
    Charger& charger = phone.charger;
    double gauge_uah = 0;
    std::istringstream words(text);
    for (std::string name, value; std::getline(words >> std::ws, name, '=') && words >> value;) {
        if (name == "usb" || name == "wireless") {
            charger.source = name == "usb" ? Source::USB : Source::WIRELESS;
            charger.type = value;
        } else if (!SET_NAMED(name, std::stod(value), battery.soc, battery.state_of_health, battery.temp_c,
                              phone.load_ma, phone.ambient_c, phone.shutdown_phase, phone.learning_count,
                              phone.thermal_zone, gauge_uah, charger.watts, charger.smart_stop_percent,
                              charger.thermal_level, charger.ageing_level, charger.usb_input_suspend,
                              charger.lrc_input_suspend, charger.lrc_charge_disable)) {
            ADD_FAILURE() << "a phone has no " << name;
        }
    }
    if (gauge_uah > 0) {
        phone.gauge_uah = gauge_uah;
    }
    return phone;
}

TEST(Battery, OpenCircuitVoltageRisesWithTheChargeAndLeadsBackToIt) {
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

TEST(Battery, CountsChargeAndWarms) {
    for (const test::Row& row : test::values_of(PHONE_TESTS "/cell.csv")) {
        Battery battery = phone_of(row.at(1)).battery;
        const double current_ua = test::number(row, 2) * 1e3;
        advance_battery(battery, current_ua, test::number(row, 3), test::number(row, 4), test::number(row, 5));
        if (row.at(6) != "-") {
            EXPECT_NEAR(battery.soc, test::number(row, 6), 1e-9) << row.at(0);
        }
        if (row.at(7) != "-") {
            EXPECT_NEAR(battery.temp_c, test::number(row, 7), 1e-6) << row.at(0);
        }
        const double drop_uv = current_ua * 0.060;  // 60 mOhm
        EXPECT_NEAR(terminal_uv(battery), open_circuit_uv(battery.soc) + drop_uv, 1e-3) << row.at(0);
    }
}

TEST(Charger, LimitsCurrentAndVoltageByLevelAndTemperature) {
    for (const test::Row& row : test::values_of(PHONE_TESTS "/limits.csv")) {
        const Phone phone = phone_of(row.at(0));
        EXPECT_NEAR(charge_current_limit_ua(phone.charger, phone.battery), test::number(row, 1) * 1e3, 1) << row.at(0);
        EXPECT_NEAR(float_voltage_uv(phone.charger), test::number(row, 2) * 1e6, 1) << row.at(0);
        EXPECT_EQ(health_text(phone.battery.temp_c), row.at(3)) << row.at(0);
    }
}

// A driver with zones of its own: half the current below 10 degC, from 45 degC on 4.2 V at most.
TEST(Charger, FollowsTheStepsOfItsDriver) {
    DriverSteps steps;
    steps.float_voltage_mv[2] = 4410;
    steps.current_share = {1, 1, 0.8, 1, 1, 1};
    steps.zone_below_c = {-5, 10, 45, 55};
    steps.zone_current_share = {0, 0.5, 1, 1, 0};
    steps.zone_voltage_drop_mv = {0, 0, 0, 210, 0};
    const std::tuple<const char*, double, ChargeStatus> rows[] = {
        {"temp_c=-5.1", 0, ChargeStatus::NOT_CHARGING},       {"temp_c=-5", 1800, ChargeStatus::CHARGING},
        {"temp_c=10", 3600, ChargeStatus::CHARGING},          {"temp_c=45 soc=0.79", 200, ChargeStatus::FULL},
        {"temp_c=45 soc=0.75", 1000, ChargeStatus::CHARGING}, {"temp_c=55", 0, ChargeStatus::NOT_CHARGING}};
    for (const auto& [text, current_ma, status] : rows) {
        Phone phone = phone_of(std::string("usb=PD watts=60 ageing_level=2 ") + text);
        phone.charger.steps = steps;
        const PowerFlow flow = share_power(phone.charger, phone.battery, 0);
        EXPECT_EQ(flow.status, status) << text;
        if (status != ChargeStatus::FULL) {
            EXPECT_NEAR(flow.battery_ua, current_ma * 1e3, 1) << text;
        }
        EXPECT_EQ(float_voltage_uv(phone.charger), 4'410'000) << text;
    }
}

// At 50 % the open-circuit voltage is 3.88 V; a load of 250 mA takes 0.97 W.
TEST(Charger, SharesThePowerOfItsSource) {
    for (const test::Row& row : test::values_of(PHONE_TESTS "/power.csv")) {
        Phone phone = phone_of(row.at(1));
        const PowerFlow flow = share_power(phone.charger, phone.battery, 250e3);
        EXPECT_NEAR(flow.battery_ua, test::number(row, 2) * 1e3, 1) << row.at(0);
        EXPECT_NEAR(flow.input_w, test::number(row, 3), 1e-4) << row.at(0);
        EXPECT_EQ(flow.input_limited, row.at(4) == "yes") << row.at(0);
        EXPECT_EQ(status_text(flow.status), row.at(5)) << row.at(0);
    }
}

// Full at 0.05C x 60 mOhm = 15 mV below the float voltage, again from 40 mV below that.
TEST(Charger, StaysFullUntilTheChargeHasSunk) {
    Phone phone = phone_of("usb=PD watts=27 soc=0.9965");
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
    EXPECT_EQ(status_at(0.98), ChargeStatus::CHARGING) << "a source that comes back starts afresh";

    EXPECT_NEAR(end_of_charge_soc(phone.charger, phone.battery), 0.99643, 1e-5);
    EXPECT_EQ((phone.battery.soc = 0.9, capacity_percent(phone)), 90);
    phone.charger.ageing_level = 5;
    EXPECT_NEAR(end_of_charge_soc(phone.charger, phone.battery), 0.925, 1e-5);
    EXPECT_EQ((phone.battery.soc = 0.93, capacity_percent(phone)), 100);
}

TEST(Phone, AChargePutsInWhatTheBatteryGainsAndEndsFull) {
    for (const int level : {0, 5}) {
        Phone phone = phone_of("usb=PD watts=27 soc=0.2 ageing_level=" + std::to_string(level));
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
    Phone once = phone_of("usb=PD watts=27 soc=0.2");
    Phone often = once;
    advance_phone(once, 65);
    for (const double seconds : {10, 10, 10, 10, 10, 10, 5}) {
        advance_phone(often, seconds);
    }
    EXPECT_EQ(once.battery.soc, often.battery.soc) << "steps of 10 s at most";
}

// 2 A at 3.88 V: 15 % of the load and 5 % of what the source gives warm the battery.
TEST(Phone, LoadAndConverterWarmTheBattery) {
    Phone phone = phone_of("usb=PD watts=27 lrc_charge_disable=1 load_ma=2000 ambient_c=20");
    advance_phone(phone, 20'000);
    EXPECT_NEAR(phone.battery.temp_c, 20 + 8 * 7.76 * (0.15 + 0.05 / 0.9), 0.01);
    EXPECT_NEAR(board_temp_c(phone) - phone.battery.temp_c, 3 + 4 * 2, 1e-9);
}

std::map<std::string, std::string> texts_of(const Phone& phone) {
    std::map<std::string, std::string> texts;
    for (const auto& attributes : {live_attributes(phone), start_attributes(phone)}) {
        for (const AttributeFile& attribute : attributes) {
            texts[std::string(attribute_name(attribute_path(phone, attribute.id)))] = attribute.text;
        }
    }
    return texts;
}

TEST(Attributes, ShowThePhone) {
    std::ifstream file(PHONE_TESTS "/attributes.txt");
    std::string section;
    std::map<std::string, std::string> texts;
    for (std::string line; std::getline(file, line);) {
        if (line[0] == '[') {
            section = line.substr(1, line.find(']') - 1);
            Phone phone = phone_of(line.substr(line.find(']') + 1));
            advance_phone(phone, 0);
            texts = texts_of(phone);
        } else if (line[0] != '#') {
            const size_t blank = line.find(' ');
            EXPECT_EQ(texts[line.substr(0, blank)], line.substr(blank + 1)) << section << ": " << line;
        }
    }
    EXPECT_EQ(section, "start") << "the last one";
}

TEST(Attributes, EveryParameterHasATextAndNoPathTwo) {
    const Phone phone;
    std::map<std::string, std::string> texts;
    std::set<SysfsParamId> ids;
    for (const auto& attributes : {live_attributes(phone), start_attributes(phone)}) {
        for (const AttributeFile& attribute : attributes) {
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

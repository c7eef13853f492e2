// The simulated battery and charger.
#include <gtest/gtest.h>

#include <cmath>

#include "bench/phone/phone.h"

namespace cellwarden::bench {
namespace {

constexpr double HOUR_S = 3600;

Phone charging_phone(double soc) {
    Phone phone;
    phone.battery.soc = soc;
    phone.charger.source = Source::USB;
    phone.charger.type = "PD";
    phone.charger.watts = 45;
    return phone;
}

TEST(Battery, ManySmallStepsGiveWhatOneLargeStepGives) {
    Battery once;
    once.state_of_health = 0.8;
    Battery often = once;
    advance_battery(once, 1'000'000, 10, 0.5, HOUR_S);
    for (int i = 0; i < 3600; i++) {
        advance_battery(often, 1'000'000, 10, 0.5, 1);
    }
    EXPECT_NEAR(once.soc, 0.5 + 1'000'000 / 4'000'000.0, 1e-12);
    EXPECT_NEAR(often.soc, once.soc, 1e-9);
    EXPECT_NEAR(often.temp_c, once.temp_c, 1e-9);
    // P = I² R + 0.5 W = 0.56 W warms by 4.48 K at last; after 4.5 time constants 1.1 % is left of
    // the way from 25 °C.
    EXPECT_NEAR(once.temp_c, 14.48 + (25 - 14.48) * std::exp(-4.5), 1e-9);
}

TEST(Charger, ConstantCurrentThenTaperThenFull) {
    Phone phone = charging_phone(0.2);
    double highest_ua = 4'500'001;  // from which a taper only falls
    for (int minute = 0; minute < 180 && !phone.charger.full; minute++) {
        advance_phone(phone, 60);
        EXPECT_LE(phone.battery.current_ua, highest_ua) << minute;
        EXPECT_LE(terminal_uv(phone.battery), 4'490'000) << minute;
        highest_ua = phone.battery.current_ua < 4'499'999 && minute > 0 ? phone.battery.current_ua : 4'500'001;
    }
    EXPECT_EQ(phone.flow.status, ChargeStatus::FULL);
    EXPECT_EQ(capacity_percent(phone), 100);

    const double full_soc = phone.battery.soc;
    advance_phone(phone, HOUR_S);
    EXPECT_DOUBLE_EQ(phone.battery.soc, full_soc);  // the charger carries the phone
    phone.battery.soc -= 0.04;
    advance_phone(phone, 10);
    EXPECT_EQ(phone.flow.status, ChargeStatus::CHARGING);
}

TEST(Charger, ObeysTheDaemonsSwitchesAndTheTemperature) {
    constexpr auto CHARGING = ChargeStatus::CHARGING;
    constexpr auto NOT_CHARGING = ChargeStatus::NOT_CHARGING;
    constexpr auto DISCHARGING = ChargeStatus::DISCHARGING;
    struct {
        const char* name;
        void (*change)(Charger& charger, Phone& phone);
        double current_ua;
        ChargeStatus status;
        Source source = Source::USB;
    } const rows[] = {
        {"USB suspended", [](Charger& c, Phone&) { c.usb_input_suspend = true; }, -250'000, DISCHARGING},
        {"but not wireless", [](Charger& c, Phone&) { c.usb_input_suspend = true; }, 4'500'000, CHARGING,
         Source::WIRELESS},
        {"suspended", [](Charger& c, Phone&) { c.lrc_input_suspend = true; }, -250'000, DISCHARGING, Source::WIRELESS},
        {"disabled", [](Charger& c, Phone&) { c.lrc_charge_disable = true; }, 0, NOT_CHARGING},
        {"1 A at the battery", [](Charger& c, Phone&) { c.watts = 3.88 / 0.9; }, 750'000, CHARGING},
        {"a load of 20 A", [](Charger&, Phone& p) { p.load_ma = 20'000; }, 40.5e6 / 3.88 - 20e6, CHARGING},
        {"ageing level 4", [](Charger& c, Phone&) { c.ageing_level = 4; }, 3'600'000, CHARGING},
        {"highest thermal level", [](Charger& c, Phone&) { c.thermal_level = 15; }, 450'000, CHARGING},
        {"below freezing", [](Charger&, Phone& p) { p.battery.temp_c = -0.1; }, 0, NOT_CHARGING},
        {"at freezing", [](Charger&, Phone& p) { p.battery.temp_c = 0; }, 4'500'000, CHARGING},
        {"hot", [](Charger&, Phone& p) { p.battery.temp_c = 60; }, 0, NOT_CHARGING},
    };
    for (const auto& row : rows) {
        Phone phone = charging_phone(0.5);
        phone.charger.source = row.source;
        row.change(phone.charger, phone);
        advance_phone(phone, 0);
        EXPECT_NEAR(phone.battery.current_ua, row.current_ua, 1) << row.name;
        EXPECT_EQ(phone.flow.status, row.status) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden::bench

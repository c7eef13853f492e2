#include <gtest/gtest.h>

#include "stats/update_rows.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(ChargingTime, IsBookedByStatusAndPhaseOfThePreviousCall) {
    const auto charging = [](int32_t status, int32_t phase) {
        return std::vector<Given>{{PARAM_BATTERY_STATUS, status}, {PARAM_BOOTUP_SHUTDOWN_PHASE, phase}};
    };
    const auto idle = charging(0, 0);
    check_updates(update_charging_time, {
                                            {"charging, off", charging(1, 1), idle, "off_charge_total_time=60"},
                                            {"charging, on", charging(1, 3), idle, "on_charge_total_time=60"},
                                            {"full, on", charging(2, 3), idle, "on_charge_total_time=60"},
                                            {"discharging", charging(0, 3), charging(1, 3), ""},
                                            {"another status", charging(3, 3), charging(1, 3), ""},
                                            {"phase 0", charging(1, 0), idle, ""},
                                            {"phase 2", charging(1, 2), idle, ""},
                                            {"phase 4", charging(1, 4), charging(1, 3), ""},
                                            {"the clock went back", charging(1, 3), idle, "", -1},
                                            {"beyond 32 bits", charging(1, 3), idle, "on_charge_total_time=4294967355",
                                             60, "on_charge_total_time=4294967295"},
                                        });
    check_first_calls(update_charging_time, {{"first call", charging(1, 3), ""}});
}

TEST(SmartChargeTime, IsBookedFromCallsWithSmartChargingActive) {
    const auto smart = [](int32_t status) { return std::vector<Given>{{PARAM_SMART_CHARGING_STATUS, status}}; };
    check_updates(update_smart_charge_time, {
                                                {"active", smart(1), smart(0), "smart_charge_mode_total_time=60"},
                                                {"0", smart(0), smart(1), ""},
                                                {"2", smart(2), smart(1), ""},
                                                {"-1", smart(-1), smart(1), ""},
                                                {"the clock went back", smart(1), smart(1), "", -1},
                                            });
    check_first_calls(update_smart_charge_time, {{"first call", smart(1), ""}});
}

TEST(WarmTime, IsBookedFromCallsWithAWarmBattery) {
    const auto health = [](const char* text) { return std::vector<Given>{{PARAM_BATTERY_HEALTH, text}}; };
    check_updates(update_warm_time, {
                                        {"warm", health("Warm"), health("Good"), "jeita_warm_total_time=60"},
                                        {"hot", health("Hot"), health("Warm"), ""},
                                        {"good", health("Good"), health("Warm"), ""},
                                        {"the clock went back", health("Warm"), health("Warm"), "", -1},
                                        {"the counter wraps",
                                         health("Warm"),
                                         {},
                                         "jeita_warm_total_time=59",
                                         60,
                                         "jeita_warm_total_time=4294967295"},
                                    });
    check_first_calls(update_warm_time, {{"first call", health("Warm"), ""}});
}

// A condition that ended with a call adds no time in the next call.
TEST(ChargeTimes, EndWithTheirCondition) {
    ServiceState state;
    BattStat stat{};
    for (const int32_t active : {1, 0, 0}) {
        const SysfsParams snapshot = snapshot_of({{PARAM_BATTERY_STATUS, active},
                                                  {PARAM_SMART_CHARGING_STATUS, active},
                                                  {PARAM_BATTERY_HEALTH, active},
                                                  {PARAM_BOOTUP_SHUTDOWN_PHASE, 3}});
        state.clock.cycle_boot_time += 60;
        const StatStep step{device, state, snapshot, state.stat_update, stat};
        update_charging_time(step);
        update_smart_charge_time(step);
        update_warm_time(step);
    }
    EXPECT_EQ(changes({}, stat), "on_charge_total_time=60 smart_charge_mode_total_time=60 jeita_warm_total_time=60");
}

constexpr int32_t DESIGN = 4'480'000;  // 0.8 C is 3,584,000 uA, 0.6 C is 2,688,000 uA

std::vector<Given> current(int32_t current_ua, int32_t soc = 5000, int32_t design_uah = DESIGN) {
    return {
        {PARAM_BATTERY_CURRENT_NOW, current_ua}, {PARAM_BATT_SOC, soc}, {PARAM_BATTERY_CHARGE_FULL_DESIGN, design_uah}};
}

TEST(FastCharge, TimeNeedsTheRateAtBothEnds) {
    check_updates(update_fast_charge_time,
                  {
                      {"0.8 C", current(3'584'000), {}, "over_08c_total_time=60"},
                      {"below 0.8 C at first", current(3'583'999), current(3'584'000), "over_06c_total_time=60"},
                      {"below 0.8 C at last", current(3'584'000), current(3'583'999), "over_06c_total_time=60"},
                      {"0.6 C", current(2'688'000), {}, "over_06c_total_time=60"},
                      {"below 0.6 C at first", current(2'687'999), current(3'584'000), ""},
                      {"below 0.6 C at last", current(3'584'000), current(2'687'999), ""},
                      {"0.8 C is truncated", current(7, 0, 9), {}, "over_08c_total_time=60"},  // 7.2 uA
                      {"0.6 C is truncated", current(5, 0, 9), {}, "over_06c_total_time=60"},  // 5.4 uA
                      {"one second", current(3'584'000), {}, "over_08c_total_time=1", 1},
                      {"the clock stands", current(3'584'000), {}, "", 0},
                      {"the clock went back", current(3'584'000), {}, "", -60},
                      {"the counter wraps",
                       current(3'584'000),
                       {},
                       "over_08c_total_time=59",
                       60,
                       "over_08c_total_time=4294967295"},
                  });
    check_first_calls(update_fast_charge_time, {{"first call", current(0, 0, 0), ""}});
}

TEST(FastCharge, GainNeedsTheRateAtBothEnds) {
    check_updates(
        update_fast_charge_soc,
        {
            {"0.8 C", current(3'584'000, 5000), current(3'584'000, 5001), "over_08c_charge_count=1"},
            {"below 0.8 C", current(3'583'999, 5000), current(3'584'000, 5002), "over_06c_charge_count=2"},
            {"below 0.6 C", current(3'584'000, 5000), current(2'687'999, 5002), ""},
            {"no gain", current(3'584'000, 5000), current(3'584'000, 5000), ""},
            {"discharged", current(3'584'000, 5000), current(3'584'000, 4999), ""},
            {"highest charge", current(3'584'000, 10'999), current(3'584'000, 11'000), "over_08c_charge_count=1"},
            {"invalid now", current(3'584'000, 5000), current(3'584'000, 11'001), ""},
            {"negative now", current(3'584'000, 5000), current(3'584'000, -1), ""},
            {"invalid before", current(3'584'000, 11'001), current(3'584'000, 5000), ""},
            {"the counter wraps", current(3'584'000, 0), current(3'584'000, 60), "over_08c_charge_count=59", 60,
             "over_08c_charge_count=4294967295"},
        });
    EXPECT_EQ(logs(), (Calls{"<3>cellwarden: batt_soc is not valid (11001), rapid_charge_count is not updated\n",
                             "<3>cellwarden: batt_soc is not valid (-1), rapid_charge_count is not updated\n",
                             "<3>cellwarden: batt_soc is not valid (11001), rapid_charge_count is not updated\n"}));
    // Without a design capacity every current reaches the rate.
    check_first_calls(update_fast_charge_soc, {{"first call", current(0, 11'000, 0), ""}});
}

// After an invalid charge, charge and current of the call before it remain the reference.
TEST(FastCharge, GainContinuesFromTheLatestValidCharge) {
    ServiceState state;
    BattStat stat{};
    for (const auto& [current_ua, soc] : {std::pair(3'584'000, 5000), {0, 11'001}, {3'584'000, 5100}}) {
        update_fast_charge_soc({device, state, snapshot_of(current(current_ua, soc)), state.stat_update, stat});
    }
    EXPECT_EQ(changes({}, stat), "over_08c_charge_count=100");
}

TEST(Shutdown, IsCountedWithAnEmptyBatteryAndStoresTheCapacity) {
    const auto phase = [](int32_t value, int32_t capacity) {
        return std::vector<Given>{{PARAM_BOOTUP_SHUTDOWN_PHASE, value}, {PARAM_BATTERY_CAPACITY, capacity}};
    };
    check_updates(update_shutdown_count, {
                                             {"empty", phase(3, 50), phase(4, 0), "soc0_shutdown_cnt=1"},
                                             {"below empty", phase(3, 50), phase(4, -1), "soc0_shutdown_cnt=1"},
                                             {"1 %", phase(3, 50), phase(4, 1), ""},
                                             {"another phase", phase(3, 50), phase(5, 0), ""},
                                             {"phase 4 continues", phase(4, 1), phase(4, 0), ""},
                                             {"the counter wraps", phase(3, 50), phase(4, 0), "soc0_shutdown_cnt=0", 60,
                                              "soc0_shutdown_cnt=4294967295"},
                                         });
    check_first_calls(update_shutdown_count, {{"first call", phase(4, 0), "soc0_shutdown_cnt=1"}});

    check_first_calls(update_shutdown_capacity, {{"phase 4", phase(4, 57), "shutdown_capacity=57"},
                                                 {"low 8 bits", phase(4, -1), "shutdown_capacity=255"},
                                                 {"phase 3", phase(3, 57), ""},
                                                 {"phase 5", phase(5, 57), ""}});
}

}  // namespace
}  // namespace cellwarden

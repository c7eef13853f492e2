#include "product/policy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

namespace cellwarden {
namespace {

TEST(Policy, FaultNamesTheFirstInvalidFigure) {
    const struct {
        const char* name;
        std::function<void(Policy& policy)> change;
        const char* fault;  // "": no fault
    } rows[] = {
        {"the daemon's policy", [](Policy&) {}, ""},
        {"negative exponent when hot and high", [](Policy& p) { p.arrhenius.activation_k = 6000; }, ""},
        {"no activation", [](Policy& p) { p.arrhenius.activation_k = 0; }, "arrhenius.activation_k"},
        {"infinite when cold", [](Policy& p) { p.arrhenius.activation_k = 1'910'000; }, "arrhenius.low_offset"},
        {"not a number", [](Policy& p) { p.arrhenius.activation_k = NAN; }, "arrhenius.low_offset"},
        {"knee above the samples", [](Policy& p) { p.arrhenius.knee_uv = 5'000'001; }, "arrhenius.knee_uv"},
        {"no rate at 5 V", [](Policy& p) { p.arrhenius.high_slope = -2212; }, "arrhenius.high_offset"},
        {"no slope", [](Policy& p) { p.arrhenius.low_slope = 0; }, "arrhenius.low_slope"},
        {"no rate at all", [](Policy& p) { p.arrhenius.numerator = 0; }, "arrhenius.numerator"},
        {"loss above 100 %", [](Policy& p) { p.full_stay.offset = -29; }, "full_stay.offset"},
        {"loss that falls with voltage", [](Policy& p) { p.charge_cycle.voltage_slope = -1; },
         "charge_cycle.voltage_slope"},
        {"borders of one level equal", [](Policy& p) { p.cycle_count_borders[1] = 1'000'000; }, ""},
        {"borders fall", [](Policy& p) { p.cycle_count_borders[1] = 999'999; }, "cycle_count_borders"},
        {"raising border below the lowering border", [](Policy& p) { p.arrhenius_raise_from = 6'555'599; },
         "arrhenius_lower_below"},
        {"rising level above the highest", [](Policy& p) { p.top_rising_level = 5; }, "top_rising_level"},
        {"factor rises with the level", [](Policy& p) { p.level_factors[5] = 0.93; }, "level_factors"},
        {"factor above 1", [](Policy& p) { p.level_factors.fill(1.01); }, "level_factors"},
        {"step factor above 1", [](Policy& p) { p.step_factor_low = 1.01; }, "step_factor_low"},
        {"empty bin", [](Policy& p) { p.bins.soc[3] = 7000; }, "bins.soc"},
        {"bins rise", [](Policy& p) { p.bins.temperature_decic[0] = 540; }, "bins.temperature_decic"},
        {"bin out of order", [](Policy& p) { p.bins.voltage_uv[40] = 3'100'000; }, "bins.voltage_uv"},
    };
    for (const auto& row : rows) {
        Policy policy = POLICY;
        row.change(policy);
        const char* fault = policy_fault(policy);
        EXPECT_STREQ(fault == nullptr ? "" : fault, row.fault) << row.name;
    }
}

TEST(Policy, FiguresAreAcceptedUpToTheEndsOfTheirRanges) {
    const struct {
        const char* name;
        std::function<void(Policy& policy, double figure)> set;
        double lowest, highest, step;
    } rows[] = {
        {"arrhenius.knee_uv", [](Policy& p, double v) { p.arrhenius.knee_uv = static_cast<int32_t>(v); }, 1e6, 5e6, 1},
        {"arrhenius.numerator", [](Policy& p, double v) { p.arrhenius.numerator = v; }, 1e-9, 1e9, 2e-7},
        {"full_stay.voltage_slope", [](Policy& p, double v) { p.full_stay.voltage_slope = v; }, 0, 20, 0.001},
        {"full_stay.activation_k", [](Policy& p, double v) { p.full_stay.activation_k = v; }, 0, 60'000, 0.1},
        {"charge_cycle.voltage_slope", [](Policy& p, double v) { p.charge_cycle.voltage_slope = v; }, 0, 20, 0.001},
        {"charge_cycle.activation_k", [](Policy& p, double v) { p.charge_cycle.activation_k = v; }, 0, 60'000, 0.1},
        {"capacity_kept_percent", [](Policy& p, double v) { p.capacity_kept_percent = static_cast<int32_t>(v); }, 0,
         100, 1},
        {"rise_from_percent", [](Policy& p, double v) { p.rise_from_percent = static_cast<int32_t>(v); }, 0, 100, 1},
        {"top_rising_level", [](Policy& p, double v) { p.top_rising_level = static_cast<int32_t>(v); }, 0, 4, 1},
        {"level_factors", [](Policy& p, double v) { p.level_factors.fill(v); }, 0, 1, 0.001},
        {"step_factor", [](Policy& p, double v) { p.step_factor = v; }, 0, 1, 0.001},
        {"step_factor_low", [](Policy& p, double v) { p.step_factor_low = v; }, 0, 1, 0.001},
        {"low_soh_percent", [](Policy& p, double v) { p.low_soh_percent = static_cast<int32_t>(v); }, 0, 100, 1},
    };
    for (const auto& row : rows) {
        const auto is_refused = [&](double figure) {
            Policy policy = POLICY;
            row.set(policy, figure);
            const char* fault = policy_fault(policy);
            return fault != nullptr && std::string(fault) == row.name;
        };
        EXPECT_TRUE(is_refused(row.lowest - row.step)) << row.name << " below " << row.lowest;
        EXPECT_FALSE(is_refused(row.lowest)) << row.name << " " << row.lowest;
        EXPECT_FALSE(is_refused(row.highest)) << row.name << " " << row.highest;
        EXPECT_TRUE(is_refused(row.highest + row.step)) << row.name << " above " << row.highest;
    }
}

}  // namespace
}  // namespace cellwarden

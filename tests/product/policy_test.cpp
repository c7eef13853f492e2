#include "product/policy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

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

}  // namespace
}  // namespace cellwarden

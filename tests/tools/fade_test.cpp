// How the simulated battery really fades.
#include "tools/lifetime/fade.h"

#include <gtest/gtest.h>

#include <cmath>

namespace cellwarden::lifetime {
namespace {

constexpr double YEAR_S = 365.25 * 86'400;

TEST(Fade, CalendarFadeFollowsTheRootOfTimeTemperatureAndVoltage) {
    const FadeModel model{.calendar_percent = 3, .doubling_k = 12, .per_volt = 1.5};
    const struct {
        const char* name;
        double temp_c;
        double voltage_v;
        double years;
        double lost_percent;
    } rows[] = {
        {"a year as given", 25, 3.9, 1, 3},
        {"four years", 25, 3.9, 4, 6},
        {"twice as fast", 37, 3.9, 2, 6},
        {"half as fast", 13, 3.9, 2, 3},
        {"a volt more", 25, 4.9, 1, 3 * std::exp(0.75)},
    };
    for (const auto& row : rows) {
        Fade once;
        advance_fade(once, model, row.temp_c, row.voltage_v, 0, row.years * YEAR_S);
        EXPECT_NEAR(state_of_health(once), 1 - row.lost_percent / 100, 1e-12) << row.name;
        Fade in_steps;
        for (int i = 0; i < 1000; i++) {
            advance_fade(in_steps, model, row.temp_c, row.voltage_v, 0, row.years * YEAR_S / 1000);
        }
        EXPECT_NEAR(state_of_health(in_steps), state_of_health(once), 1e-9) << row.name;
    }
}

TEST(Fade, UseCostsMoreBelowTheKneeAndRaisesTheResistance) {
    const FadeModel model{
        .percent_per_100_charges = 10, .knee_percent = 80, .resistance_growth = 2};
    Fade fade;
    advance_fade(fade, model, 25, 3.9, 200, 0);
    EXPECT_NEAR(state_of_health(fade), 0.8, 1e-12);
    EXPECT_NEAR(resistance_factor(fade, model), 1.4, 1e-12);
    advance_fade(fade, model, 25, 3.9, 1, 0);
    EXPECT_NEAR(state_of_health(fade), 0.799, 1e-12);
    advance_fade(fade, model, 25, 3.9, 10, 0);
    EXPECT_NEAR(state_of_health(fade), 0.769, 1e-12);
    advance_fade(fade, model, 25, 3.9, 10'000, 0);
    EXPECT_EQ(state_of_health(fade), 0.1);
}

}  // namespace
}  // namespace cellwarden::lifetime

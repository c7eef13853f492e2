#include "tools/lifetime/fade.h"

#include <algorithm>
#include <cmath>

namespace cellwarden::lifetime {
namespace {

constexpr double SECONDS_PER_YEAR = 365.25 * 86'400;
constexpr double REFERENCE_C = 25;
constexpr double REFERENCE_V = 3.9;
constexpr double KNEE_FACTOR = 3;

double lost_percent(const Fade& fade) {
    return std::sqrt(fade.calendar_square) + fade.use_percent;
}

}  // namespace

void advance_fade(Fade& fade, const FadeModel& model, double temp_c, double voltage_v,
                  double charges, double seconds) {
    const double exponent = (temp_c - REFERENCE_C) / model.doubling_k * std::log(2.0) +
                            model.per_volt * (voltage_v - REFERENCE_V);
    fade.calendar_square += model.calendar_percent * model.calendar_percent * std::exp(exponent) *
                            seconds / SECONDS_PER_YEAR;
    const bool past_knee = 100 - lost_percent(fade) < model.knee_percent;
    fade.use_percent +=
        charges * model.percent_per_100_charges / 100 * (past_knee ? KNEE_FACTOR : 1);
}

double state_of_health(const Fade& fade) {
    return std::max(0.1, 1 - lost_percent(fade) / 100);
}

double resistance_factor(const Fade& fade, const FadeModel& model) {
    return 1 + model.resistance_growth * (1 - state_of_health(fade));
}

}  // namespace cellwarden::lifetime

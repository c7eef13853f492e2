// The true fade of the simulated battery: a textbook model that is independent of the daemon's
// models. Calendar fade follows the square root of time:
//     loss = sqrt(S)
//     dS/dt = k^2 * 2^((T - 25) / doubling) * exp(per_volt * (V - 3.9))   (per year)
// loss: % of the design capacity; T: degC; V: V; k: loss of the first year at 25 degC and 3.9 V.
// Cycle fade is proportional to the charge throughput.
#pragma once

#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

struct Fade {
    double calendar_square = 0;  // S
    double use_percent = 0;
};

// Advances the fade by a step with a throughput of `charges` >= 0 full charges.
void advance_fade(Fade& fade, const FadeModel& model, double temp_c, double voltage_v,
                  double charges, double seconds);

// Returns the state of health, 0.1 to 1; 1 is the design capacity.
double state_of_health(const Fade& fade);

// Returns the resistance as a multiple of that of the new battery.
double resistance_factor(const Fade& fade, const FadeModel& model);

}  // namespace cellwarden::lifetime

// How the simulated battery really fades: a textbook model, and none of the daemon's. Calendar
// fade follows the square root of time,
//     loss = sqrt(S),  dS/dt = k^2 2^((T - 25) / doubling) e^(per_volt (V - 3.9))   (per year),
// with the loss in per cent of design capacity, T in degC, V in volts and k the loss of the first
// year at 25 degC and 3.9 V; fade by use grows with the charge put in.
#pragma once

#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

struct Fade {
    double calendar_square = 0;  // S
    double use_percent = 0;
};

// Advances the fade by a step in which `charges` full charges were put in, 0 or more.
void advance_fade(Fade& fade, const FadeModel& model, double temp_c, double voltage_v,
                  double charges, double seconds);

// State of health, 1 = as designed, never less than 0.1.
double state_of_health(const Fade& fade);

// Resistance over that of the new battery.
double resistance_factor(const Fade& fade, const FadeModel& model);

}  // namespace cellwarden::lifetime

// The cell of the simulated phone: charge counting, terminal voltage, and a one-node thermal model.
// Currents are positive while charging.
#pragma once

#include <cstdint>

namespace cellwarden::phone {

struct Battery {
    double charge_full_design_uah = 5'000'000;
    double state_of_health = 1.0;  // full-charge capacity over design capacity, 0.1 to 1
    double soc = 0.5;              // state of charge, 0 to 1 of the full-charge capacity
    double resistance_mohm = 60;   // 1 to 1000
    double temp_c = 25;
    double current_ua = 0;  // current of the latest step; positive while charging
};

// Returns the full-charge capacity of the aged cell in µAh.
double charge_full_uah(const Battery& battery);

// Returns the open-circuit voltage in µV: linear interpolation between points that are typical of a
// cell with a charging voltage of 4.48 V, from 3.30 V (empty) to 4.47 V (full). `soc` is clamped to
// the range 0 to 1.
double open_circuit_uv(double soc);

// Returns the state of charge, 0 to 1, at an open-circuit voltage: the inverse of open_circuit_uv.
double soc_at_open_circuit(double voltage_uv);

// Returns the terminal voltage in µV at the current of the latest step: V = OCV(soc) + I R.
double terminal_uv(const Battery& battery);

// Advances the cell by `seconds` at a constant current:
//   soc += I t / (3600 Q), clamped to 0 to 1
//   T   -> ambient + P Rth with the time constant Rth C
// where P = I² R + `other_heat_w` is the heat in W, Rth = 8 K/W the thermal resistance and
// C = 100 J/K the heat capacity of a phone that lies on a table.
void advance_battery(Battery& battery, double current_ua, double ambient_c, double other_heat_w,
                     double seconds);

}  // namespace cellwarden::phone

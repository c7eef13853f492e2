// The cell of the simulated phone: charge counting, terminal voltage, and a one-node thermal model.
// Currents are positive while charging.
#pragma once

#include <cstdint>

namespace cellwarden::phone {

struct Battery {
    double charge_full_design_uah = 5'000'000;
    double state_of_health = 1.0;  // full-charge capacity over design capacity, 0.1 to 1
    double soc = 0.5;              // charge over full-charge capacity, 0 to 1
    double resistance_mohm = 60;   // 1 to 1000
    double temp_c = 25;
    double current_ua = 0;  // of the latest step
};

// Full-charge capacity of the aged cell, in µAh.
double charge_full_uah(const Battery& battery);

// Open-circuit voltage in µV: straight lines between points typical of a cell that is
// charged to 4.48 V: 3.30 V at empty, 4.47 V at full. `soc` beyond 0 to 1 gives the end points.
double open_circuit_uv(double soc);

// The other way: the state of charge at an open-circuit voltage, 0 to 1.
double soc_at_open_circuit(double voltage_uv);

// Terminal voltage in µV at the current of the latest step: V = OCV(soc) + I R.
double terminal_uv(const Battery& battery);

// Advances the cell by `seconds` at a constant current: soc += I t / (3600 Q), kept within 0 to 1.
// The temperature nears ambient + P Rth with the time constant Rth C, where P = I² R +
// `other_heat_w` is the heat in W, Rth = 8 K/W and C = 100 J/K: a phone lying on a table.
void advance_battery(Battery& battery, double current_ua, double ambient_c, double other_heat_w,
                     double seconds);

}  // namespace cellwarden::phone

// The simulated phone: its attributes are a function of this record. It uses no files and no clock;
// the caller passes the elapsed time.
#pragma once

#include <optional>
#include <string>

#include "phone/battery.h"
#include "phone/charger.h"

namespace cellwarden::phone {

struct Phone {
    Battery battery;
    Charger charger;
    PowerFlow flow;  // power and current of the latest step
    double ambient_c = 25;
    double load_ma = 250;    // current of the phone itself, at battery voltage
    int shutdown_phase = 3;  // 1 charging while switched off, 3 running, 4 shutting down
    std::string model_name = "PELLAMIR_VOSKA";
    int thermal_zone = 7;  // number of the zone of the board's sensor, 2 to 99

    // The fuel gauge's reports: the full-charge capacity (empty: the true capacity), and the number
    // of times that it has learned the capacity since the phone was switched on.
    std::optional<double> gauge_uah;
    int learning_count = 0;
};

// Advances the phone by any number of seconds, in steps of at most 10 s. With 0 s only the currents
// change: call it after a change of the source or of a switch.
void advance_phone(Phone& phone, double seconds);

// Returns the state of charge that the phone shows, in whole %. 100 % is the end of charge, which
// depends on the ageing level.
int capacity_percent(const Phone& phone);

// Returns the temperature of the board's sensor in °C: that of the battery plus 3 °C, plus 4 °C per
// ampere of load.
double board_temp_c(const Phone& phone);

// Return the kernel's texts for the status and the health of the battery.
const char* status_text(ChargeStatus status);
const char* health_text(double temp_c);

}  // namespace cellwarden::phone

// The simulated phone: everything that its attributes show follows from this record. No files, no
// clocks: time is handed in.
#pragma once

#include <optional>
#include <string>

#include "phone/battery.h"
#include "phone/charger.h"

namespace cellwarden::phone {

struct Phone {
    Battery battery;
    Charger charger;
    PowerFlow flow;  // of the latest step
    double ambient_c = 25;
    double load_ma = 250;    // what the phone itself takes, at battery voltage
    int shutdown_phase = 3;  // 1 charging while switched off, 3 running, 4 shutting down
    std::string model_name = "PELLAMIR_VOSKA";
    int thermal_zone = 7;  // number of the zone of the board's sensor, 2 to 99

    // What the fuel gauge reports: the full-charge capacity (empty: the true one), and how often it
    // has learned that capacity since the phone was switched on.
    std::optional<double> gauge_uah;
    int learning_count = 0;
};

// Advances the phone by any number of seconds, in steps of at most 10 s. None at all serves to let
// the currents follow a change of the source or of a switch.
void advance_phone(Phone& phone, double seconds);

// State of charge as the phone shows it, in whole per cent: the end of charge is 100 %, also where
// an ageing level sets it lower.
int capacity_percent(const Phone& phone);

// The temperature of the board's sensor in °C: warmer than the battery by 3 °C, and by 4 °C for
// each ampere of load.
double board_temp_c(const Phone& phone);

// Kernel words for the battery's status and health.
const char* status_text(ChargeStatus status);
const char* health_text(double temp_c);

}  // namespace cellwarden::phone

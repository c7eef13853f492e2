// The full-charge capacity that the fuel gauge reports. The gauge learns it when the battery is
// charged from low to full, and loses it at a restart; the daemon restores it in its first cycle,
// which still reads the design capacity.
#pragma once

#include <cstdint>

#include "phone/phone.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {

struct Gauge {
    Random random;          // draws the errors of learned capacities
    double lowest_soc = 1;  // lowest state of charge since the latest full charge
};

// Updates the gauge of the phone after a step.
void follow_battery(Gauge& gauge, const GaugeModel& model, phone::Phone& phone);

// Resets the gauge at power-on: it reports the design capacity.
void restart_gauge(Gauge& gauge, phone::Phone& phone);

// Sets the capacity that the daemon restores; a value below 1 has no effect.
void restore_capacity(phone::Phone& phone, int32_t capacity_mah);

}  // namespace cellwarden::lifetime

// The fuel gauge's idea of the battery's capacity: learned when the battery is charged from low to
// full, forgotten at a restart until the daemon hands it back in its first cycle, which itself
// still reads the design capacity.
#pragma once

#include <cstdint>

#include "phone/phone.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {

struct Gauge {
    Random random;          // of its errors
    double lowest_soc = 1;  // since the latest full charge
};

// Looks at the phone after a step, and sets what its gauge reports.
void follow_battery(Gauge& gauge, const GaugeModel& model, phone::Phone& phone);

// The phone was switched on: its gauge reports the design capacity.
void restart_gauge(Gauge& gauge, phone::Phone& phone);

// The daemon hands back what the gauge had learned; a value below 1 changes nothing.
void restore_capacity(phone::Phone& phone, int32_t capacity_mah);

}  // namespace cellwarden::lifetime

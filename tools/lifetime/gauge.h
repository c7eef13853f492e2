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
    Random random;               // of its errors
    double capacity_uah = 0;     // as the gauge has it
    int32_t learning_count = 0;  // since the restart
    double lowest_soc = 1;       // since the latest full charge
};

// Looks at the phone after a step.
void follow_battery(Gauge& gauge, const GaugeModel& model, const phone::Phone& phone);

void restart_gauge(Gauge& gauge, const phone::Battery& battery);

// The daemon hands back what the gauge had learned; values below 1 are none.
void restore_capacity(Gauge& gauge, int32_t capacity_mah);

}  // namespace cellwarden::lifetime

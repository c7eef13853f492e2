// The kernel wakelock that keeps the phone from suspending during a cycle.
#pragma once

#include "platform/device.h"

namespace cellwarden {

// If the kernel's file cannot be opened, both log "Unable to open" with its path and continue.
void take_wakelock(const Device& device);
void drop_wakelock(const Device& device);

}  // namespace cellwarden

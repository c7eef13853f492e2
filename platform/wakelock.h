// The kernel wakelock that keeps the phone from suspending during a cycle.
#pragma once

#include "platform/device.h"

namespace cellwarden {

// Both log "Unable to open" with the path where the kernel's file cannot be opened, and go on.
void take_wakelock(const Device& device);
void drop_wakelock(const Device& device);

}  // namespace cellwarden

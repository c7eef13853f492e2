// Start-up and the loop: one thread, no arguments, no configuration file.
#pragma once

#include "platform/device.h"

namespace cellwarden {

// Runs the daemon, once per process. Returns only if the uevent socket cannot be created or waiting
// on it fails.
void run_daemon(const Device& device);

}  // namespace cellwarden

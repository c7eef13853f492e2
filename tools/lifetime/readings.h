// The simulated phone as the daemon reads it, number by number and without texts of files: the same
// values that the bench shows in its attributes.
#pragma once

#include "phone/phone.h"
#include "platform/sysfs_params.h"
#include "tools/lifetime/gauge.h"

namespace cellwarden::lifetime {

// Fills in the parameters that the daemon's rules read; all others read as from missing files. The
// texts are the phone's own: it must outlive the snapshot.
void read_phone(const phone::Phone& phone, const Gauge& gauge, SysfsParams& snapshot);

}  // namespace cellwarden::lifetime

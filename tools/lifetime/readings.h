// The daemon's readings of the simulated phone: the values of the attributes without their files.
#pragma once

#include "phone/phone.h"
#include "platform/sysfs_params.h"

namespace cellwarden::lifetime {

// Sets the parameters that depend on the phone's state; all others have the values of missing
// files. The snapshot's texts belong to the phone, which must outlive it.
void read_phone(const phone::Phone& phone, SysfsParams& snapshot);

}  // namespace cellwarden::lifetime

// The simulated phone as the daemon reads it: the values of its attributes without their files.
#pragma once

#include "phone/phone.h"
#include "platform/sysfs_params.h"

namespace cellwarden::lifetime {

// Sets the parameters that follow from the phone's state; all others read as from missing files.
// The texts are the phone's own: it must outlive the snapshot.
void read_phone(const phone::Phone& phone, SysfsParams& snapshot);

}  // namespace cellwarden::lifetime

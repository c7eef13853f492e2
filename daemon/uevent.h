// The daemon's sleep between cycles: until the kernel reports a change of the battery, the USB port
// or the wireless charger, or until the period of light cycles ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/device.h"

namespace cellwarden {

inline constexpr size_t EVENT_NAME_SIZE = 16;

// Opens the kernel's uevent socket. Returns 0, or -5 with a log line. Sets `*fd_out` to the
// descriptor right after its creation; if binding fails, the descriptor is closed and `*fd_out`
// keeps its number.
int32_t create_uevent_socket(const Device& device, int32_t* fd_out);

// Waits for a power-supply event or the end of the period. The remaining time of a period is
// carried from call to call, so that light cycles keep their period while events arrive. With
// `timeout_s` <= 0, only events end the wait. Returns 0 with the supply's name, or with an empty
// text at the end of the period; -1 if `fd` is negative or waiting fails.
int32_t wait_for_uevent(const Device& device, int32_t fd, int32_t timeout_s,
                        char (&name_out)[EVENT_NAME_SIZE]);

// Returns the supply that a uevent of `length` bytes names: "battery", "usb" or "wireless"; null
// for any other message. A message is a header and key=value texts, each ended by a NUL;
// message[length] must be a NUL.
const char* power_supply_of_uevent(const char* message, size_t length);

}  // namespace cellwarden

// The daemon sleeps here between cycles, until the kernel reports a change of the battery, the USB
// port or the wireless charger, or until the period of light cycles is over.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/device.h"

namespace cellwarden {

inline constexpr size_t EVENT_NAME_SIZE = 16;

// Opens the kernel's uevent socket. Returns 0, or -5 with a log line; `*fd_out` takes the
// descriptor right after its creation, and keeps its number when binding fails and it is closed
// again.
int32_t create_uevent_socket(const Device& device, int32_t* fd_out);

// Waits for a power-supply event or the end of the period. The time left of a period is carried
// over from call to call, so light cycles keep their period while events arrive. `timeout_s` of 0
// or less: only events end the wait. Returns 0 with the supply's name, or with the empty text at
// the end of the period; -1 when `fd` is negative or waiting failed.
int32_t wait_for_uevent(const Device& device, int32_t fd, int32_t timeout_s,
                        char (&name_out)[EVENT_NAME_SIZE]);

// The supply that a uevent of `length` bytes speaks of: "battery", "usb" or "wireless", or null for
// every other message. The message is a header text and key=value texts, each ended by a NUL;
// message[length] must be a NUL.
const char* power_supply_of_uevent(const char* message, size_t length);

}  // namespace cellwarden

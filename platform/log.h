// Log lines of the daemon: every one goes to the kernel log at one level, and its text, prefix
// included, stands as a literal where it is logged.
#pragma once

#include "platform/device.h"

namespace cellwarden {

inline constexpr int LOG_LEVEL = 3;

// `format` and what follows are those of printf. Texts end in "\n" or not exactly as the readers of
// the kernel log know them.
void log_line(const Device& device, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace cellwarden

// The daemon's log lines. All go to the kernel log at the same level; each text, including its
// prefix, is a literal at the place that logs it.
#pragma once

#include "platform/device.h"

namespace cellwarden {

inline constexpr int LOG_LEVEL = 3;

// `format` and the following arguments are those of printf. Readers of the kernel log know the
// exact texts, some of which do not end with "\n".
void log_line(const Device& device, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace cellwarden

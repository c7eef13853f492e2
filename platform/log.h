// Log lines of the daemon: every one goes to the kernel log at one level, and its text, prefix
// included, stands as a literal where it is logged.
#pragma once

#include "platform/device/cutils.h"

namespace cellwarden {

inline constexpr int LOG_LEVEL = 3;

}  // namespace cellwarden

// `...` is a printf format and its values. Texts end in "\n" or not exactly as the readers of the
// kernel log know them.
#define LOG_LINE(...) klog_write(::cellwarden::LOG_LEVEL, __VA_ARGS__)

#include "platform/log.h"

#include <cstdarg>
#include <cstdio>

namespace cellwarden {

void log_line(const Device& device, const char* format, ...) {
    char text[512];
    va_list values;
    va_start(values, format);
    // The analyser does not see that va_start initialises the list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    (void)vsnprintf(text, sizeof text, format, values);
    va_end(values);
    device.klog_write(device.context, LOG_LEVEL, text);
}

}  // namespace cellwarden

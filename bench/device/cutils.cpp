// Stand-in for libcutils. Log lines go to /dev/kmsg, properties are files. Faults: log (a line is
// lost), property (the default value is returned).
#include "platform/device/cutils.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "bench/device/bench_files.h"

namespace {

constexpr size_t LOG_LINE_SIZE = 512;  // longer lines are truncated
constexpr size_t PROPERTY_SIZE = 92;   // including the terminator
constexpr int QUIETEST_LEVEL = 6;      // less urgent lines are dropped

int kernel_log_fd() {
    static const int fd = open("/dev/kmsg", O_WRONLY | O_CLOEXEC);
    return fd;
}

}  // namespace

void klog_write(int level, const char* format, ...) {
    if (level > QUIETEST_LEVEL || cellwarden::bench::fault_is_on("log")) {
        return;
    }
    char line[LOG_LINE_SIZE];
    va_list values;
    va_start(values, format);
    // The analyser does not know that va_start sets the list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    (void)vsnprintf(line, sizeof line, format, values);
    va_end(values);
    // One write is one record of the kernel log. A failure cannot be reported.
    [[maybe_unused]] const ssize_t written = write(kernel_log_fd(), line, strlen(line));
}

int property_get(const char* key, char* value, const char* default_value) {
    using namespace cellwarden::bench;
    BenchPath path;
    size_t size = 0;
    char text[PROPERTY_SIZE] = {};
    if (!fault_is_on("property") && set_bench_path(path, "properties", key) == 0 &&
        read_bench_file(path, text, sizeof text - 1, size) == 0) {
        text[strcspn(text, "\n")] = '\0';
    } else {
        (void)snprintf(text, sizeof text, "%s", default_value == nullptr ? "" : default_value);
    }
    memcpy(value, text, sizeof text);
    return static_cast<int>(strlen(value));
}

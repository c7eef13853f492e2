#include "platform/wakelock.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr std::string_view WAKELOCK_NAME = "cellwarden-wakelock";

void write_wakelock_name(const Device& device, const char* path) {
    const int fd = open(path, O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        log_line(device, "<3>cellwarden: Unable to open: '%s'", path);
        return;
    }
    // The cycle runs even if the write fails.
    [[maybe_unused]] const ssize_t written = write(fd, WAKELOCK_NAME.data(), WAKELOCK_NAME.size());
    close(fd);
}

}  // namespace

void take_wakelock(const Device& device) {
    write_wakelock_name(device, "/sys/power/wake_lock");
}

void drop_wakelock(const Device& device) {
    write_wakelock_name(device, "/sys/power/wake_unlock");
}

}  // namespace cellwarden

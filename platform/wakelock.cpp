#include "platform/wakelock.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr std::string_view WAKELOCK_NAME = "cellwarden-wakelock";

void write_wakelock_name(const char* path) {
    const int fd = open(path, O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        LOG_LINE("<3>cellwarden: Unable to open: '%s'", path);
        return;
    }
    // A refused write is no reason to skip the cycle.
    [[maybe_unused]] const ssize_t written = write(fd, WAKELOCK_NAME.data(), WAKELOCK_NAME.size());
    close(fd);
}

}  // namespace

void take_wakelock() {
    write_wakelock_name("/sys/power/wake_lock");
}

void drop_wakelock() {
    write_wakelock_name("/sys/power/wake_unlock");
}

}  // namespace cellwarden

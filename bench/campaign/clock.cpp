// Preloaded into the daemon. Wall clock and boot clock return the times that the campaign sets, so
// that two runs of a history store the same bytes, and a history of weeks runs in a second. The
// wait for the driver at the start returns at once. The wait for uevents is the real one.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "bench/campaign/clock_times.h"

namespace {

cellwarden::bench::ClockTimes read_times() {
    static const int fd = [] {
        char path[1024];
        (void)snprintf(path, sizeof path, "%s/clock", getenv("CELLWARDEN_BENCH_DIR"));
        return open(path, O_RDONLY | O_CLOEXEC);
    }();
    cellwarden::bench::ClockTimes times;
    if (pread(fd, &times, sizeof times, 0) != ssize_t{sizeof times}) {
        abort();
    }
    return times;
}

}  // namespace

// The C library's own parameter names are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

time_t time(time_t* result) noexcept {
    const time_t now = read_times().wall_s;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    if (clock != CLOCK_BOOTTIME) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, result));
    }
    *result = {.tv_sec = read_times().boot_s, .tv_nsec = 0};
    return 0;
}

unsigned sleep(unsigned) {
    return 0;
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

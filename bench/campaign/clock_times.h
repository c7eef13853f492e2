// Content of the file "clock" in the state directory, which sets the daemon's clocks.
#pragma once

#include <cstdint>

namespace cellwarden::bench {

struct ClockTimes {
    int64_t boot_s = 0;
    int64_t wall_s = 0;
};

}  // namespace cellwarden::bench

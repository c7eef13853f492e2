// The file "clock" of the state directory, by which a campaign sets the daemon's clocks.
#pragma once

#include <cstdint>

namespace cellwarden::bench {

struct ClockTimes {
    int64_t boot_s = 0;
    int64_t wall_s = 0;
};

}  // namespace cellwarden::bench

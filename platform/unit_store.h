// The units of the persistent store that the daemon uses. Multi-byte numbers in units are
// little-endian, as is every machine the daemon runs on.
#pragma once

#include <bit>
#include <cstdint>

#include "platform/device.h"

namespace cellwarden {

static_assert(std::endian::native == std::endian::little);

enum Unit : uint32_t {
    UNIT_STARTUP_PROCESS = 2227,      // read, 4 bytes: 171 = the phone is in its start-up process
    UNIT_HEAT_TIME = 2310,            // read, written, 8: start of the latest heat episode, i64 s
    UNIT_CHARGE_DISABLE = 2312,       // read, 1: 1 = charging is to be disabled
    UNIT_HEAT_COUNT = 2319,           // read, written, 1: USB connector heat episodes
    UNIT_BATT_STAT = 2491,            // read, written, 9,728: the statistics record
    UNIT_PRODUCTION_DATE = 2802,      // read, written, 6: YYMMDD as ASCII digits
    UNIT_FIRST_USAGE_DATE = 2803,     // read, 4 or more: i32 at offset 0
    UNIT_CYCLE_COUNT = 2804,          // written, 4: whole cycles, u32
    UNIT_STATE_OF_HEALTH = 2805,      // written, 2: whole per cent, u16
    UNIT_CAMERA_CALIBRATION = 66677,  // read, 1: 1 = camera calibration mode
};

// The functions of libtessera (platform/device/tessera.h) on a device's store.
inline int32_t tessera_read_unit(const Device& device, Unit unit, void* buffer, uint32_t* size) {
    return device.tessera_read_unit(device.context, unit, buffer, size);
}

inline int32_t tessera_write_unit(const Device& device, Unit unit, const void* buffer,
                                  uint32_t size) {
    return device.tessera_write_unit(device.context, unit, buffer, size);
}

}  // namespace cellwarden

// Reads and writes units of the persistent store. Multi-byte numbers in units are little-endian,
// like every machine on which the daemon runs.
#pragma once

#include <bit>
#include <cstdint>

#include "platform/device.h"
#include "product/phone.h"

namespace cellwarden {

static_assert(std::endian::native == std::endian::little);

// Calls tessera_read_unit (platform/device/tessera.h) of the device.
inline int32_t tessera_read_unit(const Device& device, Unit unit, void* buffer, uint32_t* size) {
    return device.tessera_read_unit(device.context, unit, buffer, size);
}

// Replaces the unit's content by the bytes of the value. Returns whether the store accepted them.
template <typename T>
bool write_unit(const Device& device, Unit unit, const T& value) {
    return device.tessera_write_unit(device.context, unit, &value, sizeof value) == 0;
}

}  // namespace cellwarden

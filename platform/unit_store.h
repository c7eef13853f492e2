// Reading and writing the units of the persistent store. Multi-byte numbers in units are
// little-endian, as is every machine the daemon runs on.
#pragma once

#include <bit>
#include <cstdint>

#include "platform/device.h"
#include "product/phone.h"

namespace cellwarden {

static_assert(std::endian::native == std::endian::little);

// The function of libtessera (platform/device/tessera.h) on a device's store.
inline int32_t tessera_read_unit(const Device& device, Unit unit, void* buffer, uint32_t* size) {
    return device.tessera_read_unit(device.context, unit, buffer, size);
}

// Replaces the unit by the bytes of the value. Returns whether the store accepted them.
template <typename T>
bool write_unit(const Device& device, Unit unit, const T& value) {
    return device.tessera_write_unit(device.context, unit, &value, sizeof value) == 0;
}

}  // namespace cellwarden

// The phone's libtessera: the persistent store of numbered units, each an opaque byte string.
#pragma once

#include <cstdint>

extern "C" {

// Reads `unit` into `buffer`. `*size` is the capacity of the buffer on entry, and the number of
// bytes of the unit on success. Returns 0 on success; otherwise the caller must not use the buffer
// or the size.
int32_t tessera_read_unit(uint32_t unit, void* buffer, uint32_t* size);

// Replaces the whole content of `unit`, and its length, by `size` bytes. Returns 0 on success.
int32_t tessera_write_unit(uint32_t unit, const void* buffer, uint32_t size);
}

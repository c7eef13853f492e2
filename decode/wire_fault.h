// Finds the first error in a packed event or in a message of a stream.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace cellwarden::decode {

// Reads the varint at `at` and moves `at` behind it: seven bits per byte, the lowest first, at most
// ten bytes; only the low 64 bits are used. Returns nullopt if the bytes end early.
std::optional<uint64_t> read_varint(std::span<const uint8_t> bytes, size_t& at);

struct WireFault {
    size_t offset;
    std::string what;
};

// Returns the first error in the bytes as a message of that type: a truncated number or text, a
// field that the message does not have, a wrong encoding. Returns nullopt if there is no error.
std::optional<WireFault> wire_fault(const ProtobufCMessageDescriptor& type,
                                    std::span<const uint8_t> bytes);

}  // namespace cellwarden::decode

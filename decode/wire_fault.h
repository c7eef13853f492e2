// Finds the first error in a packed event.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace cellwarden::decode {

struct WireFault {
    size_t offset;
    std::string what;
};

// Returns the first error in the bytes as a message of that type: a truncated number or text, a
// field that the message does not have, a wrong encoding. Returns nullopt if there is no error.
std::optional<WireFault> wire_fault(const ProtobufCMessageDescriptor& type,
                                    std::span<const uint8_t> bytes);

}  // namespace cellwarden::decode

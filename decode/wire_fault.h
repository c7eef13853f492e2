// Where packed bytes stop being an event.
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

// The first fault of the bytes as a message of that type: a number or text that is cut, a field
// that the message does not have, a field in another encoding. None where they are sound.
std::optional<WireFault> wire_fault(const ProtobufCMessageDescriptor& type,
                                    std::span<const uint8_t> bytes);

}  // namespace cellwarden::decode

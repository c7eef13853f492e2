// The deleter of an unpacked message.
#pragma once

#include <protobuf-c/protobuf-c.h>

namespace cellwarden::decode {

struct FreeMessage {
    void operator()(ProtobufCMessage* message) const {
        protobuf_c_message_free_unpacked(message, nullptr);
    }
};

}  // namespace cellwarden::decode

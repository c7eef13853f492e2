// Packing a telemetry event and handing it to the phone's event library.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Whether events are sent at all: not on models whose name contains "_cdb", and not before the wall
// clock is set.
bool reporting_is_allowed(const ServiceState& state);

// Name and log texts of one kind of event.
struct EventKind {
    const char* name;
    const char* library_missing_text;
    const char* sent_text;
};

enum class SendResult : bool {
    NOT_DONE = false,  // the library is missing or not active: nothing was tried
    DONE = true,       // the attempt was made, with or without success
};

// Tries once to send the event; logs one line per failure and does not retry.
SendResult send_event(const Device& device, const EventKind& kind, const ProtobufCMessage& message);

}  // namespace cellwarden

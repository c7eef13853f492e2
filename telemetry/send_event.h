// Packs a telemetry event and passes it to the phone's event library.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Returns false on models whose name contains "_cdb", and before the wall clock is set.
bool reporting_is_allowed(const ServiceState& state);

// Name and log texts of one kind of event.
struct EventKind {
    const char* name;
    const char* library_missing_text;
    const char* sent_text;
};

enum class SendResult : bool {
    NOT_DONE = false,  // no attempt: the library is missing or not active
    DONE = true,       // one attempt, with or without success
};

// Tries once to send the event. Logs each failure and does not retry.
SendResult send_event(const Device& device, const EventKind& kind, const ProtobufCMessage& message);

}  // namespace cellwarden

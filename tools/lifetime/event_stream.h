// The telemetry events of a life as one stream of protocol-buffer messages (event_stream.proto).
#pragma once

#include <cstdint>
#include <string>

#include "phone/stand_in.h"

namespace cellwarden::lifetime {

// Appends an event with its length to `stream`.
void append_event(std::string& stream, int64_t wall_s, const Effect& event);

}  // namespace cellwarden::lifetime

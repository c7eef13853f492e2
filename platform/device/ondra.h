// The phone's libondra: the queue of telemetry events.
#pragma once

#include <cstddef>

extern "C" {

// Returns an opaque handle, or a null pointer if the library is unavailable.
void* ondra_create(void);

// Returns 1 or more if events may be sent, otherwise 0 or less.
int ondra_is_active(void* handle);

// Queues an event. The library copies the bytes; the caller keeps its buffer.
int ondra_add_event(void* handle, const char* category, const char* name, const void* data,
                    size_t length);

// Releases `*handle`.
void ondra_destroy(void** handle);
}

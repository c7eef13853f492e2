#include "telemetry/send_event.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/log.h"
#include "state/facts.h"

namespace cellwarden {
namespace {

constexpr const char EVENT_CATEGORY[] = "charging";

void pack_and_add(const Device& device, void* handle, const EventKind& kind,
                  const ProtobufCMessage& message) {
    const size_t size = protobuf_c_message_get_packed_size(&message);
    if (size == 0) {
        log_line(device, "<3>cellwarden: ONDRA log Could not serialize message data\n");
        return;
    }
    auto* const packed = static_cast<uint8_t*>(device.malloc(device.context, size));
    if (packed == nullptr) {
        log_line(device, "<3>cellwarden: malloc failed\n");
        return;
    }
    protobuf_c_message_pack(&message, packed);
    device.ondra_add_event(device.context, handle, EVENT_CATEGORY, kind.name, packed, size);
    log_line(device, "%s", kind.sent_text);
    free(packed);
}

}  // namespace

bool reporting_is_allowed(const ServiceState& state) {
    return strstr(state.settings.vendor_model, "_cdb") == nullptr &&
           wall_clock_is_set(state.clock.cycle_wall_time);
}

SendResult send_event(const Device& device, const EventKind& kind,
                      const ProtobufCMessage& message) {
    void* handle = device.ondra_create(device.context);
    if (handle == nullptr) {
        log_line(device, "%s", kind.library_missing_text);
        return SendResult::NOT_DONE;
    }
    const int active = device.ondra_is_active(device.context, handle);
    if (active > 0) {
        pack_and_add(device, handle, kind, message);
    } else {
        log_line(device, "<3>cellwarden: ondra_is_active: %d\n", active);
    }
    device.ondra_destroy(device.context, &handle);
    return active > 0 ? SendResult::DONE : SendResult::NOT_DONE;
}

}  // namespace cellwarden

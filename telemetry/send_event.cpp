#include "telemetry/send_event.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/device/ondra.h"
#include "platform/log.h"
#include "state/wall_clock.h"

namespace cellwarden {
namespace {

constexpr const char EVENT_CATEGORY[] = "charging";

void pack_and_add(void* handle, const EventKind& kind, const ProtobufCMessage& message) {
    const size_t size = protobuf_c_message_get_packed_size(&message);
    if (size == 0) {
        LOG_LINE("<3>cellwarden: ONDRA log Could not serialize message data\n");
        return;
    }
    auto* const packed = static_cast<uint8_t*>(malloc(size));
    if (packed == nullptr) {
        LOG_LINE("<3>cellwarden: malloc failed\n");
        return;
    }
    protobuf_c_message_pack(&message, packed);
    ondra_add_event(handle, EVENT_CATEGORY, kind.name, packed, size);
    LOG_LINE("%s", kind.sent_text);
    free(packed);
}

}  // namespace

bool reporting_is_allowed(const ServiceState& state) {
    return strstr(state.vendor_model, "_cdb") == nullptr && wall_clock_is_set(state);
}

SendResult send_event(const EventKind& kind, FillMessage fill, void* report) {
    void* handle = ondra_create();
    if (handle == nullptr) {
        LOG_LINE("%s", kind.library_missing_text);
        return SendResult::NOT_DONE;
    }
    SendResult result = SendResult::NOT_DONE;
    const int active = ondra_is_active(handle);
    if (active <= 0) {
        LOG_LINE("<3>cellwarden: ondra_is_active: %d\n", active);
    } else {
        pack_and_add(handle, kind, *fill(report));
        result = SendResult::DONE;
    }
    ondra_destroy(&handle);
    return result;
}

}  // namespace cellwarden

// The phone's libraries at the least cost: a unit is copied once, and nothing else is kept.
#include <algorithm>
#include <cstring>

#include "platform/device/cutils.h"
#include "platform/device/ondra.h"
#include "platform/device/quillon.h"
#include "platform/device/tessera.h"

static char stored[16384];

extern "C" {

void klog_write(int /*level*/, const char* /*format*/, ...) {}
int32_t tessera_read_unit(uint32_t /*unit*/, void* /*buffer*/, uint32_t* /*size*/) {
    return -1;
}
int32_t tessera_write_unit(uint32_t /*unit*/, const void* buffer, uint32_t size) {
    memcpy(stored, buffer, std::min<size_t>(size, sizeof stored));
    return 0;
}
void* ondra_create() {
    return nullptr;
}
int ondra_is_active(void* /*handle*/) {
    return 0;
}
int ondra_add_event(void* /*handle*/, const char* /*category*/, const char* /*name*/,
                    const void* /*data*/, size_t /*length*/) {
    return 0;
}
void ondra_destroy(void** /*handle*/) {}
int quillon_get_imei(int /*selector*/, char** /*text*/, uint32_t* /*length*/) {
    return -1;
}
}

#include "tools/lifetime/device.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/device/cutils.h"
#include "platform/device/ondra.h"
#include "platform/device/quillon.h"
#include "platform/device/tessera.h"
#include "platform/sysfs_io.h"

namespace cellwarden {

namespace lifetime {
namespace {

char event_library;  // its address is the handle

}  // namespace

Device device;

}  // namespace lifetime

// The rules write integers only.
int32_t write_sysfs_integer(SysfsParamId id, int32_t value) {
    if (lifetime::device.on_attribute_write) {
        lifetime::device.on_attribute_write(id, value);
    }
    return 0;
}

}  // namespace cellwarden

using cellwarden::lifetime::device;

void klog_write(int /*level*/, const char* format, ...) {
    if (!device.on_log) {
        return;
    }
    char line[1024];
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(line, sizeof line, format, values);
    va_end(values);
    const size_t last = sizeof line - 1;
    device.on_log({line, std::clamp<size_t>(static_cast<size_t>(std::max(length, 0)), 0, last)});
}

int32_t tessera_read_unit(uint32_t unit, void* buffer, uint32_t* size) {
    const auto found = device.units.find(unit);
    if (found == device.units.end()) {
        return -1;
    }
    memcpy(buffer, found->second.data(), std::min<size_t>(*size, found->second.size()));
    *size = static_cast<uint32_t>(found->second.size());
    return 0;
}

int32_t tessera_write_unit(uint32_t unit, const void* buffer, uint32_t size) {
    device.units[unit].assign(static_cast<const char*>(buffer), size);
    return 0;
}

void* ondra_create(void) {
    return &cellwarden::lifetime::event_library;
}

int ondra_is_active(void* /*handle*/) {
    return 1;
}

int ondra_add_event(void* /*handle*/, const char* category, const char* name, const void* data,
                    size_t length) {
    if (device.on_event) {
        device.on_event(category, name, {static_cast<const char*>(data), length});
    }
    return 0;
}

void ondra_destroy(void** handle) {
    *handle = nullptr;
}

// The simulated phone has no modem.
int quillon_get_imei(int /*selector*/, char** /*text*/, uint32_t* /*length*/) {
    return -1;
}

#include "phone/stand_in.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace cellwarden {
namespace {

constexpr size_t PROPERTY_SIZE = 92;  // including the terminator
constexpr int DAEMON_LOG_LEVEL = 3;

StandIn& phone_of(void* context) {
    return *static_cast<StandIn*>(context);
}

void require(bool holds, const char* rule) {
    if (!holds) {
        (void)fprintf(stderr, "the daemon broke a rule of the phone's libraries: %s\n", rule);
        abort();
    }
}

// The open handle of a phone is its own address.
void require_open(void* context, const void* handle) {
    require(handle == context && phone_of(context).open_handles > 0, "the event handle is open");
}

void record(StandIn& phone, Effect effect) {
    if (phone.records_effects) {
        phone.effects.push_back(std::move(effect));
    }
}

// Directories are not opened, because attributes are found by their path. The latest opened
// attribute is read.
int open_directory(void* /*context*/, const char* /*path*/) {
    return 0;
}

int open_attribute(void* context, int /*directory*/, const char* path, size_t /*name_at*/) {
    StandIn& phone = phone_of(context);
    const auto found = phone.attributes.find(path);
    if (found == phone.attributes.end()) {
        return -1;
    }
    phone.unread = found->second;
    return 0;
}

ssize_t read_attribute(void* context, int /*fd*/, char* buffer, size_t room) {
    std::string_view& unread = phone_of(context).unread;
    const size_t count = unread.copy(buffer, room);
    unread.remove_prefix(count);
    return static_cast<ssize_t>(count);
}

void close_attributes(void* /*context*/, int /*first*/, int /*last*/) {}

bool attribute_is_writable(void* context, const char* path) {
    const StandIn& phone = phone_of(context);
    return phone.attributes.contains(path) && !phone.unwritable_attributes.contains(path);
}

int32_t write_attribute(void* context, const char* path, const char* text) {
    if (text == nullptr) {
        return -1;
    }
    StandIn& phone = phone_of(context);
    const bool failed =
        !attribute_is_writable(context, path) || phone.refusing_attributes.contains(path);
    if (!failed) {
        phone.attributes.find(path)->second = text;
    }
    record(phone, {.kind = Effect::Kind::ATTRIBUTE, .name = path, .bytes = text, .failed = failed});
    return failed ? -1 : 0;
}

void klog_write(void* context, int level, const char* text) {
    require(level == DAEMON_LOG_LEVEL, "log lines have level 3");
    record(phone_of(context), {.kind = Effect::Kind::LOG, .name = "", .bytes = text});
}

int property_get(void* context, const char* key, char* value, const char* default_value) {
    const StandIn& phone = phone_of(context);
    const auto found = phone.properties.find(key);
    const std::string& text = found != phone.properties.end() ? found->second : default_value;
    const size_t length = text.copy(value, PROPERTY_SIZE - 1);
    value[length] = '\0';
    return static_cast<int>(length);
}

int32_t tessera_read_unit(void* context, uint32_t unit, void* buffer, uint32_t* size) {
    StandIn& phone = phone_of(context);
    const auto found = phone.units.find(unit);
    const bool failed = found == phone.units.end() || phone.failing_reads.contains(unit);
    if (found != phone.units.end()) {
        found->second.copy(static_cast<char*>(buffer), *size);
        *size = static_cast<uint32_t>(found->second.size());
    }
    record(phone, {.kind = Effect::Kind::UNIT_READ,
                   .name = std::to_string(unit),
                   .bytes = "",
                   .failed = failed});
    return failed ? -1 : 0;
}

int32_t tessera_write_unit(void* context, uint32_t unit, const void* buffer, uint32_t size) {
    StandIn& phone = phone_of(context);
    const auto* const bytes = static_cast<const char*>(buffer);
    const bool failed = phone.failing_writes.contains(unit);
    if (!failed) {
        phone.units[unit].assign(bytes, size);
    }
    if (phone.records_effects) {
        record(phone, {.kind = Effect::Kind::UNIT_WRITE,
                       .name = std::to_string(unit),
                       .bytes = {bytes, size},
                       .failed = failed});
    }
    return failed ? -1 : 0;
}

void* ondra_create(void* context) {
    StandIn& phone = phone_of(context);
    if (phone.ondra_missing) {
        return nullptr;
    }
    phone.open_handles++;
    return context;
}

int ondra_is_active(void* context, void* handle) {
    require_open(context, handle);
    return phone_of(context).ondra_active;
}

int ondra_add_event(void* context, void* handle, const char* category, const char* name,
                    const void* data, size_t length) {
    require_open(context, handle);
    StandIn& phone = phone_of(context);
    record(phone, {.kind = Effect::Kind::EVENT,
                   .name = name,
                   .bytes = {static_cast<const char*>(data), length},
                   .category = category,
                   .failed = phone.ondra_refuses});
    return phone.ondra_refuses ? -1 : 0;
}

void ondra_destroy(void* context, void** handle) {
    require_open(context, *handle);
    *handle = nullptr;
    phone_of(context).open_handles--;
}

// Like the library's text, this one has no terminator.
int quillon_get_imei(void* context, int selector, char** text, uint32_t* length) {
    const StandIn& phone = phone_of(context);
    const auto found = phone.imei.find(selector);
    if (found == phone.imei.end()) {
        return -1;
    }
    const std::string imei = found->second.value_or("no text, but a length");
    *length = static_cast<uint32_t>(imei.size());
    *text = found->second ? static_cast<char*>(malloc(imei.size())) : nullptr;
    if (*text != nullptr) {
        imei.copy(*text, imei.size());
    }
    return 0;
}

void* allocate(void* context, size_t size) {
    StandIn& phone = phone_of(context);
    if (phone.records_effects) {
        phone.heap_blocks.push_back(size);
    }
    return phone.heap_is_empty ? nullptr : malloc(size);
}

unsigned sleep(void* context, unsigned seconds) {
    StandIn& phone = phone_of(context);
    phone.sleeps.push_back(seconds);
    if (phone.during_sleep) {
        phone.during_sleep();
    }
    return 0;
}

int select(void* context, int count, fd_set* readable, timeval* timeout) {
    const StandIn& phone = phone_of(context);
    return phone.select ? phone.select(count, readable, timeout)
                        : ::select(count, readable, nullptr, nullptr, timeout);
}

}  // namespace

Device device_of(StandIn& phone) {
    return {.context = &phone,
            .attributes = {.open_directory = open_directory,
                           .open = open_attribute,
                           .read = read_attribute,
                           .close = close_attributes,
                           .write = write_attribute,
                           .is_writable = attribute_is_writable},
            .klog_write = klog_write,
            .property_get = property_get,
            .tessera_read_unit = tessera_read_unit,
            .tessera_write_unit = tessera_write_unit,
            .ondra_create = ondra_create,
            .ondra_is_active = ondra_is_active,
            .ondra_add_event = ondra_add_event,
            .ondra_destroy = ondra_destroy,
            .quillon_get_imei = quillon_get_imei,
            .malloc = allocate,
            .sleep = sleep,
            .select = select,
            .thermal_zone_temp_path = phone.thermal_zone_temp_path};
}

std::string line_of(const Effect& effect) {
    const auto body = [&]() -> std::string {
        switch (effect.kind) {
            case Effect::Kind::LOG:
                return "log " + effect.bytes;
            case Effect::Kind::ATTRIBUTE:
                return "write " + effect.name + " = " +
                       effect.bytes.substr(0, effect.bytes.find('\n'));
            case Effect::Kind::UNIT_READ:
                return "read unit " + effect.name;
            case Effect::Kind::UNIT_WRITE:
                return "write unit " + effect.name;
            default:
                return "event " + effect.name;
        }
    };
    return body() + (effect.failed ? " failed" : "");
}

}  // namespace cellwarden

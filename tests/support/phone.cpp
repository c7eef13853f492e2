#include "support/phone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/device/cutils.h"
#include "platform/device/ondra.h"
#include "platform/device/quillon.h"
#include "platform/device/tessera.h"
#include "platform/log.h"

namespace cellwarden::test {

FakePhone phone;

namespace {

char ondra_handle;

void expect_open_handle(const void* handle) {
    EXPECT_EQ(handle, &ondra_handle);
    EXPECT_GT(phone.open_handles, 0);
}

}  // namespace
}  // namespace cellwarden::test

using namespace cellwarden::test;

extern "C" {

void klog_write(int level, const char* format, ...) {
    EXPECT_EQ(level, cellwarden::LOG_LEVEL);
    char text[1024];
    va_list values;
    va_start(values, format);
    (void)vsnprintf(text, sizeof text, format, values);
    va_end(values);
    phone.log.emplace_back(text);
    phone.calls.push_back("log " + phone.log.back());
}

int property_get(const char* key, char* value, const char* default_value) {
    const auto found = phone.properties.find(key);
    const std::string text = found != phone.properties.end() ? found->second : default_value;
    strcpy(value, text.substr(0, 91).c_str());
    return static_cast<int>(strlen(value));
}

int32_t tessera_read_unit(uint32_t unit, void* buffer, uint32_t* size) {
    phone.calls.push_back("read " + std::to_string(unit));
    const auto found = phone.units.find(unit);
    if (found == phone.units.end()) {
        return -1;
    }
    memcpy(buffer, found->second.data(), std::min<size_t>(*size, found->second.size()));
    *size = static_cast<uint32_t>(found->second.size());
    return phone.failing_reads.contains(unit) ? -1 : 0;
}

int32_t tessera_write_unit(uint32_t unit, const void* buffer, uint32_t size) {
    const std::string content(static_cast<const char*>(buffer), size);
    phone.unit_writes.emplace_back(unit, content);
    phone.calls.push_back("write " + std::to_string(unit));
    if (phone.failing_writes.contains(unit)) {
        return -1;
    }
    phone.units[unit] = content;
    return 0;
}

void* ondra_create() {
    if (phone.ondra_missing) {
        return nullptr;
    }
    phone.open_handles++;
    return &ondra_handle;
}

int ondra_is_active(void* handle) {
    expect_open_handle(handle);
    return phone.ondra_active;
}

int ondra_add_event(void* handle, const char* category, const char* name, const void* data, size_t length) {
    expect_open_handle(handle);
    phone.calls.push_back(std::string("event ") + name);
    if (phone.ondra_refuses) {
        return -1;
    }
    phone.events.push_back({category, name, std::string(static_cast<const char*>(data), length)});
    return 0;
}

void ondra_destroy(void** handle) {
    expect_open_handle(*handle);
    *handle = nullptr;
    phone.open_handles--;
}

int quillon_get_imei(int selector, char** text, uint32_t* length) {
    const auto found = phone.imei.find(selector);
    if (found == phone.imei.end()) {
        return -1;
    }
    // Without a terminator, as the library hands it over.
    *length = static_cast<uint32_t>(found->second.size());
    if (phone.imei_without_text) {
        *text = nullptr;
        return 0;
    }
    *text = static_cast<char*>(malloc(found->second.size()));
    memcpy(*text, found->second.data(), found->second.size());
    return 0;
}

// The linker sends the daemon's calls of sleep() here.
unsigned __wrap_sleep(unsigned seconds) {
    phone.sleeps.push_back(seconds);
    if (phone.during_sleep) {
        phone.during_sleep();
    }
    return 0;
}
}

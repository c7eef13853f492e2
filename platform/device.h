// The seam between the daemon and the phone: a record of functions through which every effect of
// the rules passes. platform/phone_device.cpp binds it to the phone's libraries and files;
// phone/stand_in.h is a phone in memory for tests, tools, benchmarks and fuzzing. Each function has
// the name of the call that it makes; platform/device/ describes the calls of the libraries.
#pragma once

#include <sys/select.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace cellwarden {

inline constexpr size_t THERMAL_ZONE_PATH_SIZE = 128;

// The kernel's attributes, by absolute path. No function creates an attribute.
struct AttributeAccess {
    // Opens a directory, only for use with `open`. Returns a descriptor, or -1.
    int (*open_directory)(void* context, const char* path);
    // Opens the attribute for reading. Its name begins at `path + name_at`, relative to
    // `directory`; AT_FDCWD and 0 open it by its whole path. Returns a descriptor, or -1.
    int (*open)(void* context, int directory, const char* path, size_t name_at);
    // Continues after the previous read, like read().
    ssize_t (*read)(void* context, int fd, char* buffer, size_t room);
    // Closes the descriptors `first` to `last`, all opened by open or open_directory.
    void (*close)(void* context, int first, int last);

    // Replaces the attribute's text. Returns 0, or -1 if it cannot be opened or rejects the text or
    // a part of it. With a null text it opens the attribute, keeps its text and returns -1.
    int32_t (*write)(void* context, const char* path, const char* text);
    bool (*is_writable)(void* context, const char* path);
};

struct Device {
    void* context;  // the first argument of every function

    AttributeAccess attributes;
    void (*klog_write)(void* context, int level, const char* text);
    int (*property_get)(void* context, const char* key, char* value, const char* default_value);
    int32_t (*tessera_read_unit)(void* context, uint32_t unit, void* buffer, uint32_t* size);
    int32_t (*tessera_write_unit)(void* context, uint32_t unit, const void* buffer, uint32_t size);
    void* (*ondra_create)(void* context);
    int (*ondra_is_active)(void* context, void* handle);
    int (*ondra_add_event)(void* context, void* handle, const char* category, const char* name,
                           const void* data, size_t length);
    void (*ondra_destroy)(void* context, void** handle);
    int (*quillon_get_imei)(void* context, int selector, char** text, uint32_t* length);

    // The C library. The caller frees the memory of `malloc` with free(); `select` waits only for
    // readable descriptors.
    void* (*malloc)(void* context, size_t size);
    unsigned (*sleep)(void* context, unsigned seconds);
    int (*select)(void* context, int count, fd_set* readable, timeval* timeout);

    // THERMAL_ZONE_PATH_SIZE characters, empty until sdm_therm_path_gen finds the zone.
    char* thermal_zone_temp_path;
};

// The phone on which the daemon runs; only the daemon links it.
extern const Device phone_device;

// The phone's attributes, which are files.
extern const AttributeAccess attribute_files;

// Writes the text with as many calls of `write` as necessary. Returns 0, or -1 as soon as a call
// fails or accepts nothing.
int32_t write_text(int fd, const char* text, ssize_t (*write)(int, const void*, size_t));

}  // namespace cellwarden

// The seam between the daemon and the phone: one record of functions, through which every effect of
// the rules passes. platform/phone_device.cpp binds it to the phone's libraries and files;
// phone/stand_in.h is a phone in memory for tests, tools, benchmarks and fuzzing. Functions are
// named for the calls that they stand for; platform/device/ describes those of the libraries.
#pragma once

#include <sys/select.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace cellwarden {

inline constexpr size_t THERMAL_ZONE_PATH_SIZE = 128;

// The kernel's attributes, by absolute path. None is ever created.
struct AttributeAccess {
    // Opens a directory, for `open` alone. Returns a descriptor, or -1.
    int (*open_directory)(void* context, const char* path);
    // Opens the attribute for reading. Its name begins at `path + name_at`, relative to
    // `directory`; with AT_FDCWD and 0 the whole path leads to it. Returns a descriptor, or -1.
    int (*open)(void* context, int directory, const char* path, size_t name_at);
    // Reads on where the read before ended, as read().
    ssize_t (*read)(void* context, int fd, char* buffer, size_t room);
    // Closes the descriptors `first` to `last`, all of them opened by open or open_directory.
    void (*close)(void* context, int first, int last);

    // Replaces the attribute's text. Returns 0, or -1 where it cannot be opened, or refuses the
    // text or a part of it. A null text is refused: the attribute is opened and keeps its text.
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

    // The C library. Memory of `malloc` is freed with free(); `select` waits for reading alone.
    void* (*malloc)(void* context, size_t size);
    unsigned (*sleep)(void* context, unsigned seconds);
    int (*select)(void* context, int count, fd_set* readable, timeval* timeout);

    // THERMAL_ZONE_PATH_SIZE characters, empty until sdm_therm_path_gen finds the zone.
    char* thermal_zone_temp_path;
};

// The phone that the daemon runs on; the daemon alone links it.
extern const Device phone_device;

// Its attributes: files.
extern const AttributeAccess attribute_files;

// Writes the text with as many calls of `write` as it takes. A call that fails or accepts nothing
// ends the attempt, with -1.
int32_t write_text(int fd, const char* text, ssize_t (*write)(int, const void*, size_t));

}  // namespace cellwarden

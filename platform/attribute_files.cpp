#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "platform/device.h"

namespace cellwarden {
namespace {

// Opens a descriptor that refers to the directory but cannot read it.
int open_directory(void* /*context*/, const char* path) {
    return ::open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

int open_for_reading(void* /*context*/, int directory, const char* path, size_t name_at) {
    return openat(directory, path + name_at, O_RDONLY | O_CLOEXEC);
}

ssize_t read_on(void* /*context*/, int fd, char* buffer, size_t room) {
    return ::read(fd, buffer, room);
}

// Kernels before 5.9 have no close_range; descriptors are then closed one by one.
void close_files(void* /*context*/, int first, int last) {
    const int failed = close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0);
    for (int fd = first; failed != 0 && fd <= last; fd++) {
        ::close(fd);
    }
}

int32_t replace_text(void* /*context*/, const char* path, const char* text) {
    const int fd = ::open(path, O_WRONLY | O_CLOEXEC | (text != nullptr ? O_TRUNC : 0));
    if (fd < 0) {
        return -1;
    }
    const int32_t result = text != nullptr ? write_text(fd, text, ::write) : -1;
    ::close(fd);
    return result;
}

bool is_writable(void* /*context*/, const char* path) {
    return access(path, W_OK) == 0;
}

}  // namespace

int32_t write_text(int fd, const char* text, ssize_t (*write)(int, const void*, size_t)) {
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t count = write(fd, text, left);
        if (count <= 0) {
            return -1;
        }
        text += count;
        left -= static_cast<size_t>(count);
    }
    return 0;
}

const AttributeAccess attribute_files = {
    .open_directory = open_directory,
    .open = open_for_reading,
    .read = read_on,
    .close = close_files,
    .write = replace_text,
    .is_writable = is_writable,
};

}  // namespace cellwarden

#include "platform/device.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace cellwarden {
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

// An attribute returns all that fits in one read.
size_t read_attribute_file(void* /*context*/, const char* path, char* buffer, size_t room) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    const ssize_t count = read(fd, buffer, room);
    close(fd);
    return count > 0 ? static_cast<size_t>(count) : 0;
}

int32_t write_attribute_file(void* /*context*/, const char* path, const char* text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC | O_TRUNC);
    if (fd < 0) {
        return -1;
    }
    const int32_t result = write_text(fd, text, ::write);
    close(fd);
    return result;
}

bool attribute_file_is_writable(void* /*context*/, const char* path) {
    return access(path, W_OK) == 0;
}

}  // namespace cellwarden

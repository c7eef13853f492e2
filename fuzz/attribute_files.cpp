#include "fuzz/attribute_files.h"

#include <fcntl.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "fuzz/fuzzing.h"

namespace cellwarden::fuzz {

std::unordered_map<std::string, std::string> attribute_files;

namespace {

// The daemon has at most one attribute file open at a time.
constexpr int ATTRIBUTE_FD = 1 << 20;
std::string* open_file;
size_t position;

}  // namespace

bool attribute_file_is_open() {
    return open_file != nullptr;
}

}  // namespace cellwarden::fuzz

using namespace cellwarden::fuzz;

extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* buffer, size_t size);
int __real_close(int fd);

int __wrap_open(const char* path, int flags, ...) {
    if (strncmp(path, "/sys/", 5) != 0) {
        va_list values;
        va_start(values, flags);
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(values, mode_t) : 0;
        va_end(values);
        return __real_open(path, flags, mode);
    }
    promise(open_file == nullptr, "every attribute file is closed again");
    const auto found = attribute_files.find(path);
    if (found == attribute_files.end()) {
        errno = ENOENT;
        return -1;
    }
    open_file = &found->second;
    position = 0;
    return ATTRIBUTE_FD;
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    if (fd != ATTRIBUTE_FD) {
        return __real_read(fd, buffer, size);
    }
    const size_t count = std::min(size, open_file->size() - position);
    memcpy(buffer, open_file->data() + position, count);
    position += count;
    return static_cast<ssize_t>(count);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    if (fd != ATTRIBUTE_FD) {
        return __real_write(fd, buffer, size);
    }
    open_file->assign(static_cast<const char*>(buffer), size);
    return static_cast<ssize_t>(size);
}

int __wrap_close(int fd) {
    if (fd != ATTRIBUTE_FD) {
        return __real_close(fd);
    }
    open_file = nullptr;
    return 0;
}
}

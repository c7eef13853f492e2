#include "support/writes.h"

#include <algorithm>
#include <cerrno>

namespace cellwarden::test {

std::deque<ssize_t> write_results;

}  // namespace cellwarden::test

extern "C" {

ssize_t __real_write(int fd, const void* buffer, size_t size);

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    using cellwarden::test::write_results;
    if (write_results.empty()) {
        return __real_write(fd, buffer, size);
    }
    const ssize_t result = write_results.front();
    write_results.pop_front();
    if (result < 0) {
        errno = EIO;
        return -1;
    }
    return __real_write(fd, buffer, std::min(size, static_cast<size_t>(result)));
}
}

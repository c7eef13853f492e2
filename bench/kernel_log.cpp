#include "bench/kernel_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "bench/system_error.h"

namespace cellwarden::bench {
namespace {

bool level_begins(std::string_view bytes) {
    return bytes.size() >= 3 && bytes[0] == '<' && bytes[1] >= '0' && bytes[1] <= '7' &&
           bytes[2] == '>';
}

size_t record_length(std::string_view bytes) {
    for (size_t at = 1; at < bytes.size(); at++) {
        if (bytes[at - 1] == '\n' || level_begins(bytes.substr(at))) {
            return at;
        }
    }
    return bytes.size();
}

LogRecord parse_record(std::string_view bytes) {
    LogRecord record;
    if (level_begins(bytes)) {
        record.level = bytes[1] - '0';
        bytes.remove_prefix(3);
    }
    if (!bytes.empty() && bytes.back() == '\n') {
        bytes.remove_suffix(1);
    }
    record.text = bytes;
    return record;
}

}  // namespace

int open_kernel_log() {
    // Opened for reading and writing, so that the daemon can always open the other side.
    const int fd = open("/dev/kmsg", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        throw_system_error("/dev/kmsg", errno);
    }
    return fd;
}

std::vector<LogRecord> read_kernel_log(int fd) {
    // As large as the pipe, so that no record is split between two reads.
    char buffer[64 * 1024];
    const ssize_t length = read(fd, buffer, sizeof buffer);
    return split_log_records({buffer, static_cast<size_t>(std::max<ssize_t>(length, 0))});
}

std::vector<LogRecord> split_log_records(std::string_view bytes) {
    std::vector<LogRecord> records;
    while (!bytes.empty()) {
        const size_t length = record_length(bytes);
        records.push_back(parse_record(bytes.substr(0, length)));
        bytes.remove_prefix(length);
    }
    return records;
}

}  // namespace cellwarden::bench

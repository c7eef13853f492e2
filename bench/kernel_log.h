// The phone's kernel log: the records that processes write to /dev/kmsg.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cellwarden::bench {

struct LogRecord {
    int level = -1;    // 0 to 7, from a prefix such as "<3>"; -1: the record has no level
    std::string text;  // without the level and the newline at the end
};

// Opens the log for non-blocking reads. Returns the descriptor. Throws std::system_error.
int open_kernel_log();

// Returns the records written since the last call.
std::vector<LogRecord> read_kernel_log(int fd);

// Splits the bytes of one read into records. A record ends with a newline or before the next level:
// the log is a pipe, which keeps each record together but not the borders between records.
std::vector<LogRecord> split_log_records(std::string_view bytes);

}  // namespace cellwarden::bench

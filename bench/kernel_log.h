// The phone's kernel log: the records that processes write to /dev/kmsg.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cellwarden::bench {

struct LogRecord {
    int level = -1;    // 0 to 7, from the "<3>" that the record begins with; -1: it has none
    std::string text;  // without the level and without a newline at its end
};

// Opens the log for reading; reads do not wait. Throws std::system_error.
int open_kernel_log();

// The records written since the last call.
std::vector<LogRecord> read_kernel_log(int fd);

// Splits what was read at once. A record ends with a newline, or where the next level begins: the
// log comes through a pipe, which keeps each record whole but not the borders between them.
std::vector<LogRecord> split_log_records(std::string_view bytes);

}  // namespace cellwarden::bench

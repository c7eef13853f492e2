// Files that replace the stores of a phone. The environment variable CELLWARDEN_BENCH_DIR names a
// directory with
//   units/NUMBER     the content of one unit of the persistent store
//   outbox/          one file per telemetry event
//   properties/KEY   the text of one system property
//   imei/SELECTOR    the text of one IMEI
//   faults/NAME      makes the call NAME fail: always if the file is empty; only the Nth time if it
//                    contains the number N
#pragma once

#include <cstddef>

namespace cellwarden::bench {

struct BenchPath {
    char text[1024];
};

// Sets `path` to `CELLWARDEN_BENCH_DIR/folder/name`. Returns 0, or -1 if the variable is not set or
// the path is too long.
int set_bench_path(BenchPath& path, const char* folder, const char* name);

// Returns whether this call must fail, and decrements the number in the fault's file.
bool fault_is_on(const char* name);

// Reads at most `capacity` bytes of a file into `buffer` and sets `file_size` to the size of the
// whole file. Returns 0, or -1 if the file cannot be read.
int read_bench_file(const BenchPath& path, void* buffer, size_t capacity, size_t& file_size);

// Replaces a file atomically: readers see either the old or the new content, also after a crash.
// The new content is on the disk when the call returns. Returns 0, or -1 if the old content
// remains.
int replace_bench_file(const char* folder, const char* name, const void* data, size_t size);

}  // namespace cellwarden::bench

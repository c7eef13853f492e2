// Where the stand-in device libraries keep what a phone keeps in its own stores. The environment
// variable CELLWARDEN_BENCH_DIR names a directory with
//   units/NUMBER     the content of one unit of the persistent store
//   outbox/          one file per telemetry event
//   properties/KEY   the text of one system property
//   imei/SELECTOR    the text of one IMEI
//   faults/NAME      what NAME stands for fails: with an empty file for as long as it is there,
//   with
//                    a number N in it at the Nth call from now, once
#pragma once

#include <cstddef>

namespace cellwarden::bench {

struct BenchPath {
    char text[1024];
};

// Sets `path` to `CELLWARDEN_BENCH_DIR/folder/name`. Returns 0, or -1 where the variable is not set
// or the path is too long.
int set_bench_path(BenchPath& path, const char* folder, const char* name);

// Whether the fault of that name strikes this call; counts the call where the fault counts.
bool fault_is_on(const char* name);

// Reads at most `capacity` bytes of a file into `buffer` and sets `file_size` to the size of the
// whole file. Returns 0, or -1 where the file cannot be read.
int read_bench_file(const BenchPath& path, void* buffer, size_t capacity, size_t& file_size);

// Replaces a file as one step: whoever reads, and whatever crashes, finds the old content or the
// new, and the new one is on the disk when the call returns. Returns 0, or -1 with the old content
// untouched.
int replace_bench_file(const char* folder, const char* name, const void* data, size_t size);

}  // namespace cellwarden::bench

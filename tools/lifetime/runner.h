// Several runs side by side, each in a thread of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

struct Job {
    Profile profile;
    std::filesystem::path directory;
};

// Runs all jobs, at most `threads` at a time, with progress on the standard error where that is a
// terminal, and a line for each on the standard output at its end. SIGINT and SIGTERM end all runs
// with what they have reached. Returns the exit code: 0; 1 where a run failed; 128 + the signal
// that ended them.
int run_jobs(const std::vector<Job>& jobs, uint64_t seed, unsigned threads);

}  // namespace cellwarden::lifetime

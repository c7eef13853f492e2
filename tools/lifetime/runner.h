// Several runs at the same time, each in a thread of its own.
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

// Runs all jobs, at most `threads` at a time. Shows the progress on standard error if it is a
// terminal, and prints a line on standard output at the end of each job. SIGINT and SIGTERM end all
// runs; the results so far are stored. Returns the exit code: 0; 1 if a run failed; 128 + the
// number of the signal.
int run_jobs(const std::vector<Job>& jobs, uint64_t seed, unsigned threads);

}  // namespace cellwarden::lifetime

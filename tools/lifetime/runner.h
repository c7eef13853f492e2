// Several runs at the same time, each in a thread of its own.
#pragma once

#include <vector>

#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {

// Runs all jobs, at most `threads` at a time. Shows the progress on standard error if it is a
// terminal, and prints a line on standard output at the end of each job. SIGINT and SIGTERM end all
// runs; the results so far are stored. Returns the exit code: 0; 1 if a run failed; 128 + the
// number of the signal.
int run_jobs(const std::vector<Job>& jobs, unsigned threads);

}  // namespace cellwarden::lifetime

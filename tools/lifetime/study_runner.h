// Runs the lives of a study on all cores.
#pragma once

#include <filesystem>

#include "tools/lifetime/study_directory.h"
#include "tools/lifetime/study_file.h"

namespace cellwarden::lifetime {

struct StudyRun {
    std::filesystem::path directory;  // prepared
    Shard shard;
    unsigned threads;
    bool stores_events;
};

// Runs the lives of the shard that the directory does not have yet, `threads` at a time, each of
// them stored when it ends. Shows the progress of all in one line on standard error if it is a
// terminal. SIGINT and SIGTERM abandon the lives in progress. Returns the exit code: 0; 1 if a
// result could not be stored; 128 + the number of the signal.
int run_lives(const Study& study, const StudyRun& run);

}  // namespace cellwarden::lifetime

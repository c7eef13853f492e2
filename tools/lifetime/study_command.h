// The command `study`.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "common/command_line.h"
#include "tools/lifetime/study_file.h"

namespace cellwarden::lifetime {

struct StudyOptions {
    std::string study;
    std::filesystem::path out = "study";
    StudyChanges changes;
    unsigned threads = 1;
    std::string shard = "1/1";
    std::vector<std::string> merged;
    int phone = 0;
    bool stores_events = false;
    bool overwrite = false;
};

void add_study_command(CommandLine& line, StudyOptions& options);

// Returns the exit code.
int run_study(const StudyOptions& options);

}  // namespace cellwarden::lifetime

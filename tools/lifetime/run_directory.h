// The directory with the results of a run:
//   units/NUMBER   the persistent store at the end; units/2491 is the final statistics record
//   outbox/        one file per telemetry event, named TIME-NUMBER-CATEGORY-NAME (simulated UTC)
//   series.csv     a row per day: levels, states of health, throughput, temperatures
//   daemon.log     the daemon's log lines with their simulated time
//   run.json       profile, seed, whether the run is complete, and its figures (figures.h)
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cellwarden::lifetime {

struct CloseFile {
    void operator()(FILE* file) const { (void)fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// Writes a file. Throws std::runtime_error.
void write_file(const std::filesystem::path& path, std::string_view bytes);

struct RunDirectory {
    std::filesystem::path path;
    File series;
    File log;
    uint32_t event_count = 0;
};

// Throws InputError if the directory has the results of a run, unless `overwrite` is set.
void refuse_to_overwrite(const std::filesystem::path& path, bool overwrite);

// Creates the directory and its parents. Deletes the results of an earlier run; rejects a directory
// with other content. Throws std::runtime_error with the path.
RunDirectory make_run_directory(const std::filesystem::path& path);

// `wall_s` is the simulated wall clock.
void write_event(RunDirectory& run, int64_t wall_s, std::string_view category,
                 std::string_view name, std::string_view bytes);
void write_log_line(RunDirectory& run, int64_t wall_s, std::string_view line);

// Stores the units and run.json, and closes all files. Throws std::runtime_error if any result
// could not be written.
void finish_run_directory(RunDirectory& run, const std::map<uint32_t, std::string>& units,
                          const nlohmann::ordered_json& summary);

// Returns run.json of an earlier run. Throws std::runtime_error with the path and the reason.
nlohmann::ordered_json read_summary(const std::filesystem::path& run);

}  // namespace cellwarden::lifetime

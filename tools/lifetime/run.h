// A run: simulates the life of a profile under a policy and stores the results in a directory.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

enum class Ending { COMPLETE, STOPPED };

// Called after each simulated day and at the end, to show the progress.
using Watch = std::function<void(const Life& life)>;

struct Job {
    Profile profile;
    CarePolicy policy;
    uint64_t seed;
    std::filesystem::path directory;
    std::optional<Past> past{};  // of the phone; a new phone without it
};

// Simulates the profile from its start to its last year or until `stop` is set, and stores the
// results. Throws std::runtime_error if the directory cannot be written. Several jobs can run at
// the same time, each in a thread and a directory of its own.
Ending run_job(const Job& job, const std::atomic<int>& stop, const Watch& watch);

// Returns the length of a profile's life in seconds.
int64_t life_span_s(const Profile& profile);

double years_of(int64_t seconds);
int64_t seconds_of_years(double years);

}  // namespace cellwarden::lifetime

// A run: simulates the life of a profile and stores the results in a directory.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

enum class Ending { COMPLETE, STOPPED };

// Called after each simulated day and at the end, to show the progress.
using Watch = std::function<void(const Life& life)>;

// Simulates `profile` from its start to its last year or until `stop` is set, and stores the
// results. Throws std::runtime_error if the directory cannot be written. Several runs can run at
// the same time, each in a thread and a directory of its own.
Ending run_profile(const Profile& profile, uint64_t seed, const std::filesystem::path& directory,
                   const std::atomic<int>& stop, const Watch& watch);

// Returns the length of a profile's life in seconds.
int64_t life_span_s(const Profile& profile);

}  // namespace cellwarden::lifetime

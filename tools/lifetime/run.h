// One run: a profile lived through into a directory.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

enum class Ending { COMPLETE, STOPPED };

// Called with each day lived and at the end, so that somebody can watch.
using Watch = std::function<void(const Life& life)>;

// Lives `profile` through, from the start to its last year or until `stop` is set, and stores what
// was reached. Throws std::runtime_error where the directory cannot be written. Several
// can run at once, each in a thread and a directory of its own.
Ending run_profile(const Profile& profile, uint64_t seed, const std::filesystem::path& directory,
                   const std::atomic<int>& stop, const Watch& watch);

// Seconds that a profile's life lasts.
int64_t life_span_s(const Profile& profile);

}  // namespace cellwarden::lifetime

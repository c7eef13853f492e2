// What long runs share: the signals that end them, and the texts of their progress.
#pragma once

#include <atomic>
#include <string>

namespace cellwarden::lifetime {

inline constexpr const char* PROGRAM = "cellwarden-lifetime";

// How often a run looks at its threads.
inline constexpr int LOOKS_PER_SECOND = 5;

// The number of the signal that ends all runs; 0 at first.
extern std::atomic<int> stop_signal;

// Makes SIGINT and SIGTERM set stop_signal.
void catch_signals();

// Returns "75 s" or "12 min".
std::string duration_text(double seconds);

// Returns a bar for a share from 0 to 1.
std::string bar_text(double share);

}  // namespace cellwarden::lifetime

// The campaigns of cellwarden-campaign. Each prints its attempts and results, and returns the
// number of errors.
#pragma once

#include <cstdint>

#include "bench/campaign/stage.h"

namespace cellwarden::bench {

// Makes every call of a device library in the history fail once, and makes every attribute missing
// once and unreadable once. `brief`: only the first call of each kind and every 32nd attribute.
int run_fault_campaign(Stage& stage, bool brief);

// Kills the daemon `kills` times while it saves, and restarts it on the units that are left.
int run_kill_campaign(Stage& stage, int kills, uint32_t seed);

// Sends `uevents` battery uevents, then as many from other subsystems, as fast as the daemon
// handles them or with a pause before each battery uevent. Growth of memory or descriptors is an
// error.
int run_soak(Stage& stage, int uevents, int pause_ms);

// Runs one full cycle and prints the number of system calls from the wake-up to the next wait.
void print_system_calls(Stage& stage);

// Resets units, outbox, faults, phone and clocks to the start of the history.
void reset_stage(Stage& stage);

// Returns whether the bytes are a record that the daemon accepts unchanged.
bool record_is_valid(const std::string& bytes);

}  // namespace cellwarden::bench

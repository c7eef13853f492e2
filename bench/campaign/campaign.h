// The parts of cellwarden-campaign. Each prints what it tried and found, and returns the number of
// faults that it cannot explain.
#pragma once

#include <cstdint>

#include "bench/campaign/stage.h"

namespace cellwarden::bench {

// Every call of a device library fails once, at each place of the history; every attribute is
// missing once, and unreadable once. `brief`: only the first call of each kind, and every 32nd
// attribute.
int run_fault_campaign(Stage& stage, bool brief);

// Kills the daemon `kills` times while it works and saves, and starts it again on what is left.
int run_kill_campaign(Stage& stage, int kills, uint32_t seed);

// Sends `uevents` of the phone and as many foreign ones, as fast as the daemon takes them, or with
// a pause before each of the phone's.
int run_soak(Stage& stage, int uevents, int pause_ms);

// Lets the daemon do one full cycle, and prints how many system calls it makes from the wake-up to
// the next wait.
void print_system_calls(Stage& stage);

// Puts the stage to the beginning of its history: units, outbox, faults, phone and clocks.
void reset_stage(Stage& stage);

// Whether the bytes are a record that the daemon accepts as it is.
bool record_is_valid(const std::string& bytes);

}  // namespace cellwarden::bench

// Drives the daemon cycle by cycle: sends a uevent and waits until the daemon has released its
// wakelock. The clocks are set by hand (clock.cpp), so the daemon does the same in every run of a
// history.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/campaign/call_faults.h"
#include "bench/campaign/clock_times.h"
#include "bench/rig.h"

namespace cellwarden::bench {

struct Stage : Rig {
    Scenario scenario;
    DaemonCommand daemon;
    ClockTimes clock;
    std::chrono::steady_clock::time_point start;  // start of the daemon
    int clock_fd = -1;
    int cycles = 0;
    Transcript transcript;
};

// The daemon ended, or a cycle did not end.
struct StageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Creates the phone's files and starts the daemon; the clocks continue from `stage.clock`.
void start_stage(Stage& stage);

// Advances the phone and both clocks by `seconds`.
void pass_time(Stage& stage, double seconds);

// Plays one entry of the timeline: the time since the previous entry, which is at `since_s`, its
// action, and a cycle for every uevent that concerns the daemon.
void play(Stage& stage, const TimedAction& entry, double since_s);

// Sends a battery uevent without waiting for the cycle.
void send_battery_uevent(Stage& stage);

// Waits for the end of the cycle and adds the actions of the daemon to the transcript.
void finish_cycle(Stage& stage);

// Kills the daemon with SIGKILL and adds its last actions to the transcript.
void kill_daemon(Stage& stage);

// Makes an attribute missing, unreadable (every read fails), or empty, until the next start. Writes
// of the daemon have no effect on it.
enum class AttributeFault { MISSING, UNREADABLE, EMPTY };
void break_attribute(Stage& stage, const std::string& path, AttributeFault fault);

// Returns the content of all units by their number.
using Units = std::map<uint32_t, std::string>;
Units read_units(const Stage& stage);
void write_units(const Stage& stage, const Units& units);

// Returns the content of a file; empty if it does not exist.
std::string read_file(const std::filesystem::path& path);

}  // namespace cellwarden::bench

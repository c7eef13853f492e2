// The phone and the daemon, driven cycle by cycle: a uevent is sent, and the stage waits until the
// daemon has dropped its wakelock. With the clocks set by hand (clock.cpp), what the daemon does is
// the same in every run of one history.
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
    std::chrono::steady_clock::time_point start;  // of the daemon
    int clock_fd = -1;
    int cycles = 0;
    Transcript transcript;
};

// A history that a run cannot follow: the daemon ended, or a cycle did not end.
struct StageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Makes the phone's files afresh and starts the daemon; the clocks go on from `stage.clock`.
void start_stage(Stage& stage);

// Lets `seconds` pass for the phone and on both clocks.
void pass_time(Stage& stage, double seconds);

// Does one entry of the timeline: time up to it (`since_s` is that of the entry before), its
// change, and a cycle for every uevent that concerns the daemon.
void play(Stage& stage, const TimedAction& entry, double since_s);

// Sends the battery's uevent and does not wait.
void send_battery_uevent(Stage& stage);

// Waits for the end of the cycle and takes in what the daemon did.
void finish_cycle(Stage& stage);

// Ends the daemon with SIGKILL and takes in what it had done.
void kill_daemon(Stage& stage);

// Lets the attribute be missing, be there and fail at every read, or be empty, whatever is written
// to it. Lasts until the next start.
enum class AttributeFault { MISSING, UNREADABLE, EMPTY };
void break_attribute(Stage& stage, const std::string& path, AttributeFault fault);

// Whether a uevent of that subsystem and name begins a full cycle.
bool concerns_daemon(const std::string& subsystem, const std::string& name);

// The bytes of all units, by number.
using Units = std::map<uint32_t, std::string>;
Units read_units(const Stage& stage);
void write_units(const Stage& stage, const Units& units);

// The whole file as it is.
std::string read_file(const std::filesystem::path& path);

}  // namespace cellwarden::bench

// Prints the progress of a run: a line for each happening, a status line, a summary.
#pragma once

#include <filesystem>
#include <string>

#include "bench/happening.h"

namespace cellwarden::bench {

enum class Output {
    TERMINAL,  // with colours; the status line stays at the bottom
    PLAIN,     // lines of text; a status line every five seconds
    JSON,      // one JSON object per line; a status object every second
};

struct DisplaySettings {
    std::string scenario;
    std::string about;
    std::string daemon;  // command line
    std::filesystem::path state_dir;
    double duration_s = 0;
    double speed = 0;
    double uptime_s = 0;
};

struct SessionEnd {
    std::string reason;      // for people: "the scenario's end"
    bool daemon_ran = true;  // it was still running when the bench ended it
    double seconds = 0;
};

struct Display {
    Output output = Output::PLAIN;
    double next_status_s = 0;
};

void show_settings(const Display& display, const DisplaySettings& settings);

// `at_s` is the time since the daemon's start in seconds, here and below.
void show_happening(const Display& display, double at_s, const Happening& happening);

// Prints the status if it is due.
void show_status(Display& display, double at_s, const PhoneStatus& status);

void show_summary(const Display& display, const DisplaySettings& settings, const SessionEnd& ending,
                  const Tally& tally);

}  // namespace cellwarden::bench

// One run of the bench: the phone, the daemon and the timeline, from start to summary.
#pragma once

#include "bench/display.h"
#include "bench/sandbox.h"
#include "bench/scenario.h"

namespace cellwarden::bench {

struct SessionOptions {
    Scenario scenario;
    Settings settings;
    DaemonCommand daemon;
    Output output = Output::PLAIN;
};

// Runs, inside the sandbox, until the scenario's end, the daemon's end, or SIGINT, SIGTERM or
// SIGHUP. Returns true when the daemon ran to the end. Throws SandboxError and std::system_error.
bool run_session(const SessionOptions& options);

}  // namespace cellwarden::bench

// One run of the bench, from the start of the daemon to the summary.
#pragma once

#include "bench/display.h"
#include "bench/sandbox.h"
#include "bench/scenario.h"

namespace cellwarden::bench {

struct SessionOptions {
    Scenario scenario;
    DisplaySettings settings;
    DaemonCommand daemon;
    Output output = Output::PLAIN;
};

// Runs until the scenario or the daemon ends, or until SIGINT, SIGTERM or SIGHUP. Call it inside
// the sandbox. Returns whether the daemon ran until the end. Throws SandboxError and
// std::system_error.
bool run_session(const SessionOptions& options);

}  // namespace cellwarden::bench

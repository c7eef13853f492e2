// The namespaces of the simulated phone, and the daemon's process inside them.
//
// The bench enters new user (unless it is root), mount and network namespaces, so that it can
// change the phone's files and send uevents. The daemon also gets new time and PID namespaces.
// Processes outside see none of this, and the kernel removes it when the bench ends for any reason.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace cellwarden::bench {

// The machine does not allow a step. The text names the step and the setting to change.
struct SandboxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Enters the namespaces. Afterwards /sys is an empty file system and /dev/kmsg a FIFO. Call it
// once, in a process with one thread. Throws SandboxError.
void enter_sandbox();

struct DaemonCommand {
    std::vector<std::string> words;          // path and arguments
    std::filesystem::path device_libraries;  // directory of the stand-in libraries
    std::filesystem::path state_dir;         // directory for the data of the stand-in libraries
};

// Starts the daemon `uptime_s` after the boot of the phone. The kernel kills it when the bench
// ends. Returns its process ID. Throws SandboxError.
pid_t start_daemon(const DaemonCommand& command, double uptime_s);

}  // namespace cellwarden::bench

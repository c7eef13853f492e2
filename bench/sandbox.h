// The namespaces that the phone lives in, and the daemon's process inside them.
//
// The bench itself enters the user (unless it is root), mount and network namespaces, so that it
// can change the phone's files and send uevents; the daemon is started in the time and PID
// namespaces as well. Nothing of this is seen outside, and the kernel takes all of it away when
// the bench ends, however it ends.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace cellwarden::bench {

// The machine does not let the bench do this; the text says what and what can be changed.
struct SandboxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Enters the namespaces. /sys is an empty file system afterwards, /dev/kmsg a FIFO. May be called
// once, from a process with one thread. Throws SandboxError.
void enter_sandbox();

struct DaemonCommand {
    std::vector<std::string> words;          // path and arguments
    std::filesystem::path device_libraries;  // where the loader finds them
    std::filesystem::path state_dir;         // what the stand-in libraries work in
};

// Starts the daemon, which dies with the bench; it finds itself started `uptime_s` after the
// phone's boot. Throws SandboxError.
pid_t start_daemon(const DaemonCommand& command, double uptime_s);

}  // namespace cellwarden::bench

// The simulated phone with its files, its kernel log and the daemon on it: what the bench and the
// campaigns share.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bench/happening.h"
#include "bench/phone_files.h"
#include "bench/sandbox.h"
#include "bench/scenario.h"
#include "bench/watch.h"
#include "phone/phone.h"

namespace cellwarden::bench {

struct Rig {
    std::filesystem::path state_dir;  // of the stand-in libraries
    phone::Phone phone;
    PhoneFiles files;
    FolderWatch watch;
    int log_fd = -1;  // of the kernel log, for reading
    int uevent_fd = -1;
    pid_t daemon_pid = -1;       // -1: not running
    bool cycle_is_full = false;  // the running cycle, or the one that has just ended
};

// Opens the log, the uevent socket and the watch, and makes the phone's files; those of the charger
// driver appear with show_driver_files. Call it inside the sandbox. Throws std::system_error.
void set_up_rig(Rig& rig);

// Does what the action does to the phone, its attributes and the faults. Returns the uevents that a
// phone sends after the change; they are not sent yet.
std::vector<UeventSent> apply_action(Rig& rig, const Action& action);

void send_uevent(const Rig& rig, const UeventSent& uevent);

// Handles an event of the watched folders. Returns what happened on the phone, if anything.
std::optional<Happening> take_file_event(Rig& rig, const FileEvent& event);

// Ends a running daemon with SIGKILL.
void kill_daemon_process(Rig& rig);

}  // namespace cellwarden::bench

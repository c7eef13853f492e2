#include "bench/rig.h"

#include <sys/wait.h>

#include <csignal>

#include "bench/actions.h"
#include "bench/state_dir.h"
#include "bench/uevent_sender.h"

namespace cellwarden::bench {

namespace fs = std::filesystem;

namespace {

// Lets the phone's currents and attributes follow a change of the phone.
void settle_phone(Rig& rig) {
    advance_phone(rig.phone, 0);
    refresh_phone_files(rig.files, rig.phone);
}

}  // namespace

void set_up_rig(Rig& rig) {
    advance_phone(rig.phone, 0);
    rig.log_fd = open_kernel_log();
    rig.uevent_fd = open_uevent_sender();
    rig.watch = open_watch();
    create_phone_files(rig.files, rig.phone, rig.watch);
    for (const char* folder : {"units", "outbox"}) {
        watch_folder(rig.watch, rig.state_dir / folder, FileAction::REPLACED);
    }
}

std::vector<UeventSent> apply_action(Rig& rig, const Action& action) {
    std::vector<UeventSent> uevents = change_phone(rig.phone, action);
    if (const auto* attribute = std::get_if<OverrideAttribute>(&action)) {
        hold_attribute(rig.files, rig.phone, attribute->name, attribute->text);
    } else if (const auto* fault = std::get_if<SwitchFault>(&action)) {
        switch_fault(rig.state_dir, fault->name, fault->on);
    }
    settle_phone(rig);
    return uevents;
}

void send_uevent(const Rig& rig, const UeventSent& uevent) {
    send_uevent(rig.uevent_fd, uevent_text(uevent.subsystem, uevent.name));
}

std::optional<Happening> take_file_event(Rig& rig, const FileEvent& event) {
    const fs::path path = event.path;
    if (event.action == FileAction::OPENED) {
        rig.cycle_is_full = rig.cycle_is_full || path == FULL_CYCLE_PATH;
    } else if (path == WAKE_LOCK_PATH) {
        rig.cycle_is_full = false;
    } else if (path == WAKE_UNLOCK_PATH) {
        return CycleDone{rig.cycle_is_full};
    } else if (path.parent_path() == rig.state_dir / "units") {
        if (auto unit = read_stored_unit(path)) {
            return UnitStored{std::move(*unit)};
        }
    } else if (path.parent_path() == rig.state_dir / "outbox") {
        if (auto sent = read_outbox_event(path)) {
            return EventSent{std::move(*sent), path};
        }
    } else if (auto write = take_attribute_write(rig.files, rig.phone, path)) {
        return std::move(*write);
    }
    return std::nullopt;
}

void kill_daemon_process(Rig& rig) {
    if (rig.daemon_pid > 0) {
        kill(rig.daemon_pid, SIGKILL);
        waitpid(rig.daemon_pid, nullptr, 0);
        rig.daemon_pid = -1;
    }
}

}  // namespace cellwarden::bench

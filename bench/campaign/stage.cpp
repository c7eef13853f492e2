#include "bench/campaign/stage.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>

#include "bench/kernel_log.h"
#include "bench/system_error.h"
#include "bench/uevent_sender.h"
#include "phone/phone_attributes.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr int CYCLE_LIMIT_MS = 60'000;  // after this time the cycle counts as hung
constexpr int LISTEN_LIMIT_MS = 60'000;

void set_clock(const Stage& stage) {
    if (pwrite(stage.clock_fd, &stage.clock, sizeof stage.clock, 0) !=
        ssize_t{sizeof stage.clock}) {
        throw_system_error("clock", errno);
    }
}

std::string hash_of(const std::string& bytes) {
    char text[32];
    (void)snprintf(text, sizeof text, "%016zx", std::hash<std::string>{}(bytes));
    return text;
}

void note(Stage& stage, const std::string& line) {
    stage.transcript.push_back(std::to_string(stage.cycles) + " " + line);
}

void take_log(Stage& stage) {
    for (const LogRecord& record : read_kernel_log(stage.log_fd)) {
        note(stage, "log " + record.text);
    }
}

std::string hash_of_file(const fs::path& path) {
    return hash_of(read_file(path));
}

// Records the daemon's action on a file. Returns whether the daemon has released its wakelock.
bool take_event(Stage& stage, const FileEvent& event) {
    if (event.action != FileAction::OPENED && stage.files.held.contains(event.path)) {
        note(stage, "write " + std::string(phone::attribute_name(event.path)) + " to no avail");
        stage.files.tree.erase(event.path);
        set_attribute(stage.files.tree, event.path, "");
        return false;
    }
    const std::optional<Happening> happening = take_file_event(stage, event);
    if (!happening.has_value()) {
        return false;
    }
    if (std::holds_alternative<UnitStored>(*happening)) {
        const fs::path path = event.path;
        note(stage, "unit " + path.filename().string() + " " + hash_of_file(path));
    } else if (const auto* sent = std::get_if<EventSent>(&*happening)) {
        note(stage, "event " + sent->event.name + " " + hash_of_file(event.path));
    } else if (const auto* write = std::get_if<AttributeWrite>(&*happening)) {
        note(stage, "write " + write->name + " " + write->new_text);
    }
    return std::holds_alternative<CycleDone>(*happening);
}

bool take_file_events(Stage& stage) {
    bool dropped = false;
    for (const FileEvent& event : read_file_events(stage.watch)) {
        dropped = take_event(stage, event) || dropped;
    }
    return dropped;
}

void wait_for_listener(const Stage& stage) {
    for (int ms = 0; ms < LISTEN_LIMIT_MS; ms++) {
        if (someone_listens_for_uevents()) {
            return;
        }
        if (waitpid(stage.daemon_pid, nullptr, WNOHANG) == stage.daemon_pid) {
            throw StageError("the daemon ended at start-up");
        }
        usleep(1000);
    }
    throw StageError("the daemon does not listen for uevents");
}

void close_all(Stage& stage) {
    for (int* fd : {&stage.clock_fd, &stage.log_fd, &stage.uevent_fd, &stage.watch.fd}) {
        if (*fd >= 0) {
            close(*fd);
        }
        *fd = -1;
    }
}

void make_phone(Stage& stage) {
    for (const char* folder : {"/sys/class", "/sys/devices", "/sys/power"}) {
        fs::remove_all(folder);
    }
    stage.files = PhoneFiles{};
    set_up_rig(stage);
    show_driver_files(stage.files, stage.phone);
}

// Returns whether a uevent of that subsystem and name starts a full cycle.
bool concerns_daemon(const std::string& subsystem, const std::string& name) {
    return subsystem == "power_supply" &&
           (name == "battery" || name == "usb" || name == "wireless");
}

}  // namespace

std::string read_file(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void start_stage(Stage& stage) {
    close_all(stage);
    make_phone(stage);
    stage.clock_fd = open((stage.state_dir / "clock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    set_clock(stage);
    (void)read_kernel_log(stage.log_fd);
    stage.start = std::chrono::steady_clock::now();
    stage.daemon_pid = start_daemon(stage.daemon, static_cast<double>(stage.clock.boot_s));
    wait_for_listener(stage);
}

void pass_time(Stage& stage, double seconds) {
    advance_phone(stage.phone, seconds);
    refresh_phone_files(stage.files, stage.phone);
    stage.clock.boot_s += static_cast<int64_t>(seconds);
    stage.clock.wall_s += static_cast<int64_t>(seconds);
    set_clock(stage);
}

void play(Stage& stage, const TimedAction& entry, double since_s) {
    pass_time(stage, entry.at_s - since_s);
    for (const UeventSent& uevent : apply_action(stage, entry.action)) {
        send_uevent(stage, uevent);
        if (concerns_daemon(uevent.subsystem, uevent.name)) {
            finish_cycle(stage);
        }
    }
}

void send_battery_uevent(Stage& stage) {
    send_uevent(stage, {"power_supply", "battery"});
}

void finish_cycle(Stage& stage) {
    bool dropped = false;
    for (int ms = 0; !dropped && ms < CYCLE_LIMIT_MS; ms += 100) {
        pollfd waits[] = {{stage.watch.fd, POLLIN, 0}, {stage.log_fd, POLLIN, 0}};
        poll(waits, std::size(waits), 100);
        take_log(stage);
        dropped = take_file_events(stage);
        if (!dropped && waitpid(stage.daemon_pid, nullptr, WNOHANG) == stage.daemon_pid) {
            stage.daemon_pid = -1;
            throw StageError("the daemon ended by itself");
        }
    }
    if (!dropped) {
        throw StageError("a cycle did not end");
    }
    take_log(stage);
    stage.cycles++;
}

void kill_daemon(Stage& stage) {
    kill_daemon_process(stage);
    take_log(stage);
    (void)take_file_events(stage);
}

void break_attribute(Stage& stage, const std::string& path, AttributeFault fault) {
    stage.files.held.insert(path);
    if (fault == AttributeFault::EMPTY) {
        set_attribute(stage.files.tree, path, "");
        return;
    }
    fs::remove(path);
    if (fault == AttributeFault::UNREADABLE) {
        fs::create_directory(path);  // open succeeds, every read fails
    }
}

Units read_units(const Stage& stage) {
    Units units;
    for (const auto& file : fs::directory_iterator(stage.state_dir / "units")) {
        if (const auto unit = unit_of_file(file.path())) {
            units[*unit] = read_file(file);
        }
    }
    return units;
}

void write_units(const Stage& stage, const Units& units) {
    fs::remove_all(stage.state_dir / "units");
    fs::create_directories(stage.state_dir / "units");
    for (const auto& [unit, bytes] : units) {
        std::ofstream(stage.state_dir / "units" / std::to_string(unit), std::ios::binary) << bytes;
    }
}

}  // namespace cellwarden::bench

#include "bench/session.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <set>

#include "bench/actions.h"
#include "bench/rig.h"
#include "bench/state_dir.h"
#include "bench/system_error.h"
#include "bench/uevent_sender.h"

namespace cellwarden::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto TICK = std::chrono::milliseconds(100);
constexpr double LISTEN_LIMIT_S = 90;       // after this time the daemon counts as hung
constexpr double BATTERY_UEVENT_GAP_S = 1;  // minimum time between the battery's own uevents

struct Session : Rig {
    Scenario scenario;
    int signal_fd = -1;
    Clock::time_point start;

    double now_s = 0;             // time since the start
    double listens_since_s = -1;  // when the daemon began to listen; -1: not yet
    double battery_uevent_s = 0;  // time of the latest battery uevent
    int told_capacity = -1;       // reported by that uevent
    phone::ChargeStatus told_status = phone::ChargeStatus::DISCHARGING;
    size_t next_action = 0;
    std::set<std::string> faults;  // activated by the scenario

    Display display;
    Tally tally;
    std::string end_reason;  // not empty: the session is over
    bool daemon_ran = true;
};

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void tell(Session& session, const Happening& happening) {
    count_happening(session.tally, happening);
    show_happening(session.display, seconds_since(session.start), happening);
}

void send(Session& session, const UeventSent& uevent) {
    tell(session, uevent);
    send_uevent(session, uevent);
    if (uevent.name == "battery") {
        session.battery_uevent_s = session.now_s;
        session.told_capacity = capacity_percent(session.phone);
        session.told_status = session.phone.flow.status;
    }
}

// --- Actions of the daemon

void take_what_the_daemon_did(Session& session) {
    for (const FileEvent& event : read_file_events(session.watch)) {
        if (const auto happening = take_file_event(session, event)) {
            tell(session, *happening);
        }
    }
    for (const LogRecord& record : read_kernel_log(session.log_fd)) {
        tell(session, record);
    }
}

std::string daemon_end_text(int status) {
    if (WIFSIGNALED(status)) {
        return std::string("the daemon was ended by signal ") + strsignal(WTERMSIG(status));
    }
    return "the daemon ended by itself with code " + std::to_string(WEXITSTATUS(status));
}

void take_signals(Session& session) {
    signalfd_siginfo info = {};
    while (read(session.signal_fd, &info, sizeof info) == ssize_t{sizeof info}) {
        int status = 0;
        if (info.ssi_signo != SIGCHLD) {
            session.end_reason = strsignal(static_cast<int>(info.ssi_signo));
        } else if (waitpid(session.daemon_pid, &status, WNOHANG) == session.daemon_pid) {
            session.daemon_pid = -1;
            session.daemon_ran = false;
            session.end_reason = daemon_end_text(status);
        }
    }
}

// --- Changes of the phone

void act(Session& session, const Action& action) {
    tell(session, PhoneChange{action_text(action)});
    const std::vector<UeventSent> uevents = apply_action(session, action);
    if (const auto* fault = std::get_if<SwitchFault>(&action)) {
        session.faults.insert(fault->name);
    }
    for (const UeventSent& uevent : uevents) {
        send(session, uevent);
    }
}

void send_battery_uevent_if_due(Session& session) {
    const double age_s = session.now_s - session.battery_uevent_s;
    const bool changed = session.told_capacity != capacity_percent(session.phone) ||
                         session.told_status != session.phone.flow.status;
    const double period_s = session.scenario.battery_uevent_s;
    if ((changed && age_s >= BATTERY_UEVENT_GAP_S && period_s > 0) ||
        (period_s > 0 && age_s >= period_s)) {
        send(session, {"power_supply", "battery"});
    }
}

void run_timeline(Session& session, double elapsed_s) {
    const Scenario& scenario = session.scenario;
    const double timeline_s = session.now_s - session.listens_since_s;
    if (timeline_s >= scenario.duration_s) {
        session.end_reason = "the scenario's end";
        return;
    }
    advance_phone(session.phone, elapsed_s * scenario.speed);
    refresh_phone_files(session.files, session.phone);
    send_battery_uevent_if_due(session);

    while (session.next_action < scenario.timeline.size() &&
           scenario.timeline[session.next_action].at_s <= timeline_s) {
        act(session, scenario.timeline[session.next_action++].action);
    }
}

void wait_for_listener(Session& session) {
    if (someone_listens_for_uevents()) {
        session.listens_since_s = session.now_s;
        session.battery_uevent_s = session.now_s;
        session.told_capacity = capacity_percent(session.phone);
        session.told_status = session.phone.flow.status;
        tell(session, DaemonListens{});
    } else if (session.now_s > LISTEN_LIMIT_S) {
        session.daemon_ran = false;
        session.end_reason = "the daemon does not listen for uevents";
    }
}

PhoneStatus phone_status(const Session& session) {
    const phone::Phone& phone = session.phone;
    return {.capacity_percent = capacity_percent(phone),
            .voltage_v = terminal_uv(phone.battery) / 1e6,
            .current_ma = phone.battery.current_ua / 1e3,
            .temp_c = phone.battery.temp_c,
            .charge_status = status_text(phone.flow.status),
            .ageing_level = phone.charger.ageing_level,
            .source = source_text(phone.charger),
            .uptime_s = std::llround(session.scenario.uptime_s + session.now_s)};
}

void tick(Session& session) {
    const double before_s = session.now_s;
    session.now_s = seconds_since(session.start);
    if (!session.files.driver_ready && session.now_s >= session.scenario.driver_ready_s) {
        show_driver_files(session.files, session.phone);
    }
    if (session.listens_since_s < 0) {
        wait_for_listener(session);
    } else {
        run_timeline(session, session.now_s - before_s);
    }
    show_status(session.display, session.now_s, phone_status(session));
}

// --- Start and end

int block_and_watch_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int fd = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd < 0) {
        throw_system_error("signalfd", errno);
    }
    return fd;
}

void start_phone(Session& session) {
    session.phone = session.scenario.phone;
    set_up_rig(session);
    if (session.scenario.driver_ready_s <= 0) {
        show_driver_files(session.files, session.phone);
    }
    for (const std::string& fault : session.scenario.faults) {
        switch_fault(session.state_dir, fault, true);
        session.faults.insert(fault);
    }
}

void run_until_end(Session& session) {
    auto next_tick = session.start;
    while (session.end_reason.empty()) {
        pollfd waits[] = {{session.watch.fd, POLLIN, 0},
                          {session.log_fd, POLLIN, 0},
                          {session.signal_fd, POLLIN, 0}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next_tick - Clock::now());
        poll(waits, std::size(waits), std::max(0, static_cast<int>(left.count())));
        take_what_the_daemon_did(session);
        take_signals(session);
        if (session.end_reason.empty() && Clock::now() >= next_tick) {
            next_tick = Clock::now() + TICK;
            tick(session);
        }
    }
}

void end_daemon(Session& session) {
    kill_daemon_process(session);
    take_what_the_daemon_did(session);
    for (const std::string& fault : session.faults) {
        switch_fault(session.state_dir, fault, false);
    }
}

}  // namespace

bool run_session(const SessionOptions& options) {
    Session session;
    session.scenario = options.scenario;
    session.state_dir = options.settings.state_dir;
    session.display.output = options.output;
    session.signal_fd = block_and_watch_signals();
    prepare_state_dir(session.state_dir, options.scenario);
    start_phone(session);
    show_settings(session.display, options.settings);

    session.start = Clock::now();
    session.daemon_pid = start_daemon(options.daemon, options.scenario.uptime_s);
    run_until_end(session);
    end_daemon(session);
    show_summary(session.display, options.settings,
                 {session.end_reason, session.daemon_ran, seconds_since(session.start)},
                 session.tally);
    return session.daemon_ran;
}

}  // namespace cellwarden::bench

#include <sys/inotify.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "bench/campaign/campaign.h"
#include "bench/uevent_sender.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr int FOREIGN_BURST = 100;  // uevents of other subsystems per battery uevent

struct ProcessUsage {
    long resident_kb = 0;
    long private_kb = 0;
    long written_kb = 0;  // private memory that is not backed by a file
    long descriptors = 0;
    double cpu_s = 0;
};

long smaps_kb(const std::string& smaps, const std::string& key) {
    std::istringstream words(smaps.substr(smaps.find("\n" + key) + 1 + key.size()));
    long kb = 0;
    words >> kb;
    return kb;
}

ProcessUsage usage_of(pid_t pid) {
    const fs::path folder = "/proc/" + std::to_string(pid);
    const std::string smaps = read_file(folder / "smaps_rollup");
    ProcessUsage usage;
    usage.resident_kb = smaps_kb(smaps, "Rss:");
    usage.private_kb = smaps_kb(smaps, "Private_Clean:") + smaps_kb(smaps, "Private_Dirty:");
    usage.written_kb = smaps_kb(smaps, "Private_Dirty:");
    usage.descriptors = std::distance(fs::directory_iterator(folder / "fd"), {});
    // Nanoseconds on the CPU come first.
    std::ifstream schedule(folder / "schedstat");
    double ns = 0;
    schedule >> ns;
    usage.cpu_s = ns / 1e9;
    return usage;
}

void print_usage(const char* when, int uevents, const ProcessUsage& usage) {
    printf("  %-22s %8d %12ld %12ld %12ld %12ld %10.2f\n", when, uevents, usage.resident_kb,
           usage.private_kb, usage.written_kb, usage.descriptors, usage.cpu_s);
    fflush(stdout);
}

// A watch adds cost to every open of a file. Nobody watches the attributes of a real phone.
void leave_attributes_alone(FolderWatch& watch) {
    std::erase_if(watch.folders, [&watch](const auto& folder) {
        return folder.second != "/sys/power" && inotify_rm_watch(watch.fd, folder.first) == 0;
    });
}

}  // namespace

int run_soak(Stage& stage, int uevents, int pause_ms) {
    reset_stage(stage);
    start_stage(stage);
    leave_attributes_alone(stage.watch);
    const auto cycles = [&stage, pause_ms](int count) {
        for (int i = 0; i < count; i++) {
            if (i % 50 == 0) {
                advance_phone(stage.phone, 60);
                refresh_phone_files(stage.files, stage.phone);
            }
            usleep(static_cast<useconds_t>(1000 * pause_ms));
            send_battery_uevent(stage);
            finish_cycle(stage);
            stage.transcript.clear();
        }
    };
    printf(
        "uevents of the battery  uevents  resident KB   private KB   written KB  descriptors      "
        "CPU s\n");
    const double start_ms = 1e3 * usage_of(stage.daemon_pid).cpu_s;
    const int warm_up = uevents / 4;
    cycles(warm_up);
    const ProcessUsage start = usage_of(stage.daemon_pid);
    print_usage("after the warm-up", warm_up, start);
    ProcessUsage now;
    for (int part = 1; part <= 3; part++) {
        cycles((uevents - warm_up) / 3);
        now = usage_of(stage.daemon_pid);
        print_usage("", warm_up + part * ((uevents - warm_up) / 3), now);
    }
    const double cycle_us = 1e6 * (now.cpu_s - start.cpu_s) / (uevents - warm_up);

    const ProcessUsage before = usage_of(stage.daemon_pid);
    const std::string foreign = uevent_text("thermal", "thermal_zone0");
    for (int i = 0; i < uevents; i++) {
        send_uevent(stage.uevent_fd, foreign);
        if (i % FOREIGN_BURST == FOREIGN_BURST - 1) {
            cycles(1);
        }
    }
    const ProcessUsage end = usage_of(stage.daemon_pid);
    print_usage("after other subsystems", 2 * uevents, end);
    print_system_calls(stage);
    kill_daemon(stage);
    const double flood_us = 1e6 * (end.cpu_s - before.cpu_s) / uevents - cycle_us / FOREIGN_BURST;
    printf("CPU of the start %.2f ms\n", start_ms);
    printf("CPU per battery uevent %.0f us, per uevent of another subsystem %.1f us\n", cycle_us,
           flood_us);
    // Pages of the program and its libraries are loaded at first use and do not count as growth.
    const bool grew = end.written_kb > start.written_kb || end.descriptors != start.descriptors;
    printf("%s\n\n",
           grew ? "ERROR: memory or descriptors grew" : "memory and descriptors did not grow");
    return grew ? 1 : 0;
}

}  // namespace cellwarden::bench

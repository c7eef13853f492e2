#include "daemon/loop.h"

#include <unistd.h>

#include <ctime>

#include "cycle/cycle.h"
#include "daemon/config.h"
#include "daemon/uevent.h"
#include "platform/log.h"
#include "platform/sysfs_io.h"
#include "platform/wakelock.h"
#include "product/policy.h"
#include "state/service_state.h"

namespace cellwarden {
namespace {

// The records of this process's daemon.
ServiceState service_state;
BattStat batt_stat;
ChgInsertionRemovalData connection;
SysfsParams snapshot;

void take_settings(const Device& device, ServiceState& state) {
    state.settings.event_wait_timeout_s = periodic_event_interval(config_table);
    device.property_get(device.context, "ro.product.vendor.model", state.settings.vendor_model, "");
}

// If a clock cannot be read, the previous cycle's time remains.
void take_cycle_times(ServiceState& state) {
    state.clock.cycle_wall_time = time(nullptr);
    timespec boot{};
    if (clock_gettime(CLOCK_BOOTTIME, &boot) == 0) {
        state.clock.cycle_boot_time = boot.tv_sec;
    }
}

// `event_name` is the supply that woke the daemon, or an empty text at the end of a period.
void run_cycle(const Device& device, ServiceState& state, const char* event_name) {
    take_wakelock(device);
    snapshot = SysfsParams{};
    take_cycle_times(state);
    if (event_name[0] != '\0') {
        read_sysfs_params(device, snapshot, full_cycle_mask());
        run_full_cycle(device, state, batt_stat, connection, snapshot, POLICY);
    } else {
        read_sysfs_params(device, snapshot, light_cycle_mask());
        run_light_cycle(device, snapshot);
    }
    cleanup_sysfs_params(snapshot);
    drop_wakelock(device);
}

}  // namespace

void run_daemon(const Device& device) {
    int32_t uevent_fd = -1;
    char event_name[EVENT_NAME_SIZE] = {};

    wait_sysfs_ready(device);
    if (create_uevent_socket(device, &uevent_fd) != 0) {
        log_line(device, "<3>cellwarden: cannot create uevent socket, abort cellwarden\n");
        return;
    }
    take_settings(device, service_state);
    load_records(device, service_state, batt_stat, connection);
    while (wait_for_uevent(device, uevent_fd, service_state.settings.event_wait_timeout_s,
                           event_name) >= 0) {
        run_cycle(device, service_state, event_name);
    }
    close(uevent_fd);
}

}  // namespace cellwarden

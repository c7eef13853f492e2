// Compares the daemon's own work in a full cycle, a minute after the previous one, with the time
// for reading its snapshot.
#include "benchmarks/figure.h"
#include "cycle/cycle.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "stats/batt_stat_update.h"
#include "support/namespaces.h"
#include "support/snapshot.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

constexpr int ROUNDS = 101;
constexpr int CALLS = 20;
constexpr int32_t SECONDS_BETWEEN = 60;

void make_attributes(const Device& device) {
    test::write_file("/sys/class/thermal/thermal_zone0/type", "sdm_therm\n");
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        const char* path = desc.path_is_generated == 1 ? desc.path_generator(device) : desc.path;
        test::write_file(path, "4123000\n");
    }
    const struct {
        SysfsParamId id;
        const char* text;
    } battery[] = {
        {PARAM_BATTERY_MODEL_NAME, "PELLAMIR_VOSKA\n"},
        {PARAM_BATTERY_CHARGE_FULL_DESIGN, "4480000\n"},
        {PARAM_QCOM_CHARGE_FULL, "4300000\n"},
        {PARAM_BATTERY_STATUS, "Charging\n"},
        {PARAM_BATTERY_CAPACITY, "80\n"},
        {PARAM_BATT_SOC, "8000\n"},
        {PARAM_BATTERY_TEMP, "312\n"},
        {PARAM_BATTERY_CURRENT_NOW, "3000000\n"},
        {PARAM_VBAT_FULL, "4480\n"},
        {PARAM_ACTIVE_CHARGER_TYPE, "15\n"},
        {PARAM_USB_ONLINE, "1\n"},
        {PARAM_SYSTEM_TEMP_LEVEL, "3\n"},
        {PARAM_BOOTUP_SHUTDOWN_PHASE, "3\n"},
    };
    for (const auto& [id, text] : battery) {
        test::write_file(SysfsParamTable[id].path, text);
    }
}

// A battery in use for a year and a half, with no sum empty. State of charge, voltage and
// temperature differ in each cycle.
struct Daemon {
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;

    Daemon() {
        reset_batt_stat(stat);
        stat.online_time = 47'000'000;
        stat.total_cycle_count = 5'000'000;
        stat.latest_user_soh = 47'000;
        stat.arrhenius_per_10days.fill(40'000);
        stat.full_stay_capacity_degradation_per_10days.fill(12'345);
        stat.cycle_degradation_per_10days.fill(54'321);
        seed_service_state(state, stat);
        state.clock.cycle_boot_time = 1000;
    }

    void run(const Device& device, SysfsParams& snapshot) {
        const auto minute = static_cast<int32_t>(state.clock.cycle_boot_time / SECONDS_BETWEEN);
        snapshot[PARAM_BATT_SOC].value.integer = 1 + minute * 7 % 11'000;
        snapshot[PARAM_BATTERY_VOLTAGE_NOW].value.integer = 3'700'000 + minute * 997 % 700'000;
        snapshot[PARAM_BATTERY_TEMP].value.integer = 250 + minute % 100;
        state.clock.cycle_boot_time += SECONDS_BETWEEN;
        state.clock.cycle_wall_time = 1'800'000'000 + state.clock.cycle_boot_time;
        run_full_cycle(device, state, stat, connection, snapshot, POLICY);
    }
};

int run() {
    test::enter_namespaces();
    test::empty_sysfs();
    StandIn phone{.records_effects = false};
    Device device = device_of(phone);
    device.attributes = attribute_files;
    make_attributes(device);
    SysfsParams snapshot;
    SysfsParams read;
    read_sysfs_params(device, snapshot, full_cycle_mask());
    static Daemon daemon;
    const std::vector<double> us =
        benchmark::median_cpu_us({[&] { daemon.run(device, snapshot); },
                                  [&] {
                                      read_sysfs_params(device, read, full_cycle_mask());
                                      cleanup_sysfs_params(read);
                                  }},
                                 ROUNDS, CALLS);
    cleanup_sysfs_params(snapshot);
    return benchmark::report_figure("full cycle's own work, CPU; limit: reading its snapshot",
                                    us[0], us[1], "us");
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}

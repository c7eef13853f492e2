// Compares a due save of the statistics record with copying its bytes into the store.
#include "benchmarks/figure.h"
#include "phone/stand_in.h"
#include "platform/unit_store.h"
#include "stats/batt_stat_store.h"

namespace cellwarden {
namespace {

constexpr double LIMIT_OVER_BARE_COPY = 1.25;
constexpr int ROUNDS = 301;
constexpr int CALLS = 2000;
constexpr int32_t SHUTDOWN = 4;  // at which every save is due

int run() {
    StandIn phone{.records_effects = false};
    const Device device = device_of(phone);
    static BattStat stat;
    reset_batt_stat(stat);
    ServiceState state;
    SysfsParams snapshot;
    snapshot[PARAM_BOOTUP_SHUTDOWN_PHASE].kind = KIND_INTEGER;
    snapshot[PARAM_BOOTUP_SHUTDOWN_PHASE].value.integer = SHUTDOWN;
    const std::vector<double> us = benchmark::median_cpu_us(
        {[&] { save_batt_stat_if_is_timing(device, state, snapshot, stat); },
         [&] { (void)write_unit(device, UNIT_BATT_STAT, stat); }},
        ROUNDS, CALLS);
    return benchmark::report_figure("record save, CPU; limit 1.25 x bare copy of 9,728 bytes",
                                    1000 * us[0], 1000 * LIMIT_OVER_BARE_COPY * us[1], "ns");
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}

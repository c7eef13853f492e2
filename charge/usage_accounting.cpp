#include "charge/soft_charge.h"

#include "charge/grid_line.h"
#include "platform/log.h"
#include "state/elapsed.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

// Returns the row-major index of a cell.
constexpr size_t cell(size_t row, size_t temperature_bin) {
    return row * TEMPERATURE_BIN_COUNT + temperature_bin;
}

void update_voltage_grid(UsageState& usage, SoftChargeMemory& memory, int64_t boot_time,
                         const UsageBins& bins, int32_t temperature_decic, int32_t voltage_uv) {
    if (memory.grid_time != 0) {
        book_line({bins.voltage_uv, memory.grid_voltage_uv, voltage_uv},
                  {bins.temperature_decic, memory.grid_temperature_decic, temperature_decic},
                  elapsed_s(boot_time, memory.grid_time),
                  [&](size_t voltage, size_t temperature, int64_t seconds) {
                      wrapping_count(usage.vt_cet_table[cell(voltage, temperature)],
                                     static_cast<uint32_t>(seconds));
                  });
    }
    memory.grid_temperature_decic = temperature_decic;
    memory.grid_voltage_uv = voltage_uv;
    memory.grid_time = boot_time;
}

void update_charge_grid(const Device& device, UsageState& usage, SoftChargeMemory& memory,
                        const UsageBins& bins, int32_t temperature_decic, int32_t soc) {
    if (!soc_is_valid(soc)) {
        log_line(device,
                 "<3>cellwarden: batt_soc is not valid (%d), ct_charge_table is not updated\n",
                 soc);
        return;
    }
    const int32_t gain = soc - memory.charge_soc;
    if (gain > 0) {
        // Each 0.01 % is booked at the state of charge from which it started.
        book_line({bins.soc, memory.charge_soc, soc},
                  {bins.temperature_decic, memory.charge_temperature_decic, temperature_decic},
                  gain, [&](size_t charge, size_t temperature, int64_t units) {
                      wrapping_count(usage.ct_charge_table[cell(charge, temperature)],
                                     static_cast<uint32_t>(units));
                  });
        wrapping_count(usage.total_cycle_count, static_cast<uint32_t>(gain));
    }
    memory.charge_temperature_decic = temperature_decic;
    memory.charge_soc = soc;
}

}  // namespace

void update_online_time(UsageState& usage, const CycleClock& clock,
                        const SoftChargeMemory& memory) {
    const int64_t since = memory.last_soft_charge_boot_time;
    if (since != 0) {
        usage.online_time =
            low_i32(int64_t{usage.online_time} + elapsed_i32(clock.cycle_boot_time, since));
    }
}

void update_soh(UsageState& usage, const SysfsParams& snapshot) {
    const int64_t charge_full_uah = param_integer(snapshot, PARAM_QCOM_CHARGE_FULL);
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    if (charge_full_uah != 0 && design_uah != 0) {
        usage.soh = low_i32(std::min(charge_full_uah * FULL_SOH / design_uah, int64_t{FULL_SOH}));
    }
}

void update_usage_tables(const Device& device, ServiceState& state, const SysfsParams& snapshot,
                         const UsageBins& bins) {
    const int32_t temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP);
    update_voltage_grid(state.usage, state.soft_charge, state.clock.cycle_boot_time, bins,
                        temperature_decic, param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW));
    update_charge_grid(device, state.usage, state.soft_charge, bins, temperature_decic,
                       param_integer(snapshot, PARAM_BATT_SOC));
}

}  // namespace cellwarden

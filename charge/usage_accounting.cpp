#include "charge/usage_accounting.h"

#include <functional>

#include "charge/grid_line.h"
#include "platform/log.h"
#include "state/elapsed.h"

namespace cellwarden {
namespace {

constexpr bool falls_strictly(BinBorders borders) {
    return std::adjacent_find(borders.begin(), borders.end(), std::less_equal<>()) == borders.end();
}
static_assert(falls_strictly(TEMPERATURE_BORDERS) && falls_strictly(VOLTAGE_BORDERS) &&
              falls_strictly(SOC_BORDERS));

constexpr uint32_t FIRST_INVALID_SOC = 11'001;
constexpr int64_t FULL_SOH = 100'000;

// Row-major index of a cell.
constexpr size_t cell(size_t row, size_t temperature_bin) {
    return row * TEMPERATURE_BIN_COUNT + temperature_bin;
}

void update_voltage_grid(ServiceState& state, int32_t temperature_decic, int32_t voltage_uv) {
    SoftChargeMemory& memory = state.soft_charge;
    if (memory.grid_time != 0) {
        book_line({VOLTAGE_BORDERS, memory.grid_voltage_uv, voltage_uv},
                  {TEMPERATURE_BORDERS, memory.grid_temperature_decic, temperature_decic},
                  elapsed_s(state.cycle_boot_time, memory.grid_time),
                  [&](size_t voltage, size_t temperature, int64_t seconds) {
                      state.vt_cet_table[cell(voltage, temperature)] +=
                          static_cast<uint32_t>(seconds);
                  });
    }
    memory.grid_temperature_decic = temperature_decic;
    memory.grid_voltage_uv = voltage_uv;
    memory.grid_time = state.cycle_boot_time;
}

void update_charge_grid(const Device& device, ServiceState& state, int32_t temperature_decic,
                        int32_t soc) {
    if (static_cast<uint32_t>(soc) >= FIRST_INVALID_SOC) {
        log_line(device,
                 "<3>cellwarden: batt_soc is not valid (%d), ct_charge_table is not updated\n",
                 soc);
        return;
    }
    SoftChargeMemory& memory = state.soft_charge;
    const int32_t gain = soc - memory.charge_soc;
    if (gain > 0) {
        // Each 0.01 % is booked under the state of charge that it started from.
        book_line({SOC_BORDERS, memory.charge_soc, soc},
                  {TEMPERATURE_BORDERS, memory.charge_temperature_decic, temperature_decic}, gain,
                  [&](size_t charge, size_t temperature, int64_t units) {
                      state.ct_charge_table[cell(charge, temperature)] +=
                          static_cast<uint32_t>(units);
                  });
        state.total_cycle_count += static_cast<uint32_t>(gain);
    }
    memory.charge_temperature_decic = temperature_decic;
    memory.charge_soc = soc;
}

}  // namespace

int32_t temperature_bin(int32_t temperature_decic) {
    return static_cast<int32_t>(bin_of(TEMPERATURE_BORDERS, temperature_decic));
}

int32_t voltage_bin(int32_t voltage_uv) {
    return static_cast<int32_t>(bin_of(VOLTAGE_BORDERS, voltage_uv));
}

int32_t soc_bin(int32_t soc) {
    return static_cast<int32_t>(bin_of(SOC_BORDERS, soc));
}

void update_online_time(ServiceState& state) {
    const int64_t since = state.soft_charge.last_soft_charge_boot_time;
    if (since != 0) {
        state.online_time =
            low_i32(int64_t{state.online_time} + elapsed_i32(state.cycle_boot_time, since));
    }
}

void update_soh(ServiceState& state, const SysfsParams& snapshot) {
    const int64_t charge_full_uah = param_integer(snapshot, PARAM_QCOM_CHARGE_FULL);
    const int64_t design_uah = param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN);
    if (charge_full_uah != 0 && design_uah != 0) {
        state.soh = low_i32(std::min(charge_full_uah * FULL_SOH / design_uah, FULL_SOH));
    }
}

void update_usage_tables(const Device& device, ServiceState& state, const SysfsParams& snapshot) {
    const int32_t temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP);
    update_voltage_grid(state, temperature_decic,
                        param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW));
    update_charge_grid(device, state, temperature_decic, param_integer(snapshot, PARAM_BATT_SOC));
}

}  // namespace cellwarden

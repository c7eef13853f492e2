// What soft charge counts before it judges: online time, the gauge's state of health, the time
// spent per voltage and temperature, and the charge put in per state of charge and temperature.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Bins of the two grids: bin i holds the readings above its border i and not above border i - 1;
// the last bin holds the rest. In 0.1 degC, uV and 0.01 % of state of charge.
inline constexpr std::array<int32_t, TEMPERATURE_BIN_COUNT - 1> TEMPERATURE_BORDERS = {
    600, 550, 500, 450, 400, 350, 300, 250, 200, 150, 100, 50, 0, -50, -100};

inline constexpr std::array<int32_t, VOLTAGE_BIN_COUNT - 1> VOLTAGE_BORDERS = {
    // 10 mV steps near full charge
    4'540'000, 4'530'000, 4'520'000, 4'510'000, 4'500'000, 4'490'000, 4'480'000, 4'470'000,
    4'460'000, 4'450'000, 4'440'000, 4'430'000, 4'420'000, 4'410'000, 4'400'000, 4'390'000,
    4'380'000, 4'370'000, 4'360'000, 4'350'000, 4'340'000, 4'330'000, 4'320'000, 4'310'000,
    4'300'000,
    // 50 mV steps
    4'250'000, 4'200'000, 4'150'000, 4'100'000, 4'050'000, 4'000'000,
    // 100 mV steps
    3'900'000, 3'800'000, 3'700'000, 3'600'000, 3'500'000, 3'400'000, 3'300'000, 3'200'000,
    3'100'000, 3'000'000};

inline constexpr std::array<int32_t, SOC_BIN_COUNT - 1> SOC_BORDERS = {9000, 8000, 7000, 6000, 5000,
                                                                       4000, 3000, 2000, 1000};

int32_t temperature_bin(int32_t temperature_decic);  // 0 (above 60.0 degC) to 15 (-10.0 or less)
int32_t voltage_bin(int32_t voltage_uv);             // 0 (above 4.54 V) to 41 (3.0 V or less)
int32_t soc_bin(int32_t soc);  // 0 (above 90 %) to 9 (10 % or less), in 0.01 %

// Adds the boot-clock time since the previous call of control_soft_charge; the first call after
// start-up adds nothing.
void update_online_time(ServiceState& state);

// Gauge full-charge capacity over design capacity, where both are known.
void update_soh(ServiceState& state, const SysfsParams& snapshot);

// Books the interval since the previous call into the voltage x temperature grid, and the charge
// put in since then into the state of charge x temperature grid and total_cycle_count. Both spread
// along the straight line between the two readings, in a time that grows with the cells crossed.
void update_usage_tables(const Device& device, ServiceState& state, const SysfsParams& snapshot);

}  // namespace cellwarden

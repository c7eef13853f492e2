#include "charge/ageing_models.h"

#include <algorithm>

#include "charge/arrhenius_rate.h"
#include "numbers/unpacked.h"
#include "state/elapsed.h"
#include "state/facts.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

constexpr int32_t FULL_CAPACITY_PERCENT = 100;
constexpr extended CHARGE_UNIT = extended{1} / FULL_CHARGE_UNITS;

bool temperature_is_valid(int32_t temperature_decic) {
    return temperature_decic >= -SAMPLE_TEMPERATURE_LIMIT_DECIC &&
           temperature_decic <= SAMPLE_TEMPERATURE_LIMIT_DECIC;
}

bool is_valid(extended volts) {
    return volts >= 1 && volts <= 5;
}

// Returns the loss per hour or full charge as a fraction of the design capacity, with each
// operation rounded once.
extended loss_rate(const LossConstants& loss, int32_t temperature_decic, extended volts) {
    const extended kelvin = static_cast<extended>(temperature_decic) / 10 + KELVIN_OFFSET;
    return extended_exp((loss.voltage_slope * volts + (-1 / kelvin) * loss.activation_k) +
                        loss.offset);
}

// Returns the value of the period of `online_time` and marks the period as changed; null if there
// is no such period.
extended* period_value(AgeingState& ageing, PerPeriod<extended> AgeingState::*values,
                       int64_t online_time) {
    if (online_time < 0 || online_time >= int64_t{PERIOD_S} * PERIOD_COUNT) {
        return nullptr;
    }
    const auto period = static_cast<int32_t>(online_time / PERIOD_S);
    PeriodRun& changed = ageing.changed_periods;
    changed = {std::min(changed.first, period), std::max(changed.last, period)};
    return &(ageing.*values)[static_cast<size_t>(period)];
}

void add_to_period(AgeingState& ageing, PerPeriod<extended> AgeingState::*values,
                   int64_t online_time, extended share) {
    extended* const value = period_value(ageing, values, online_time);
    if (value != nullptr) {
        *value += share;
    }
}

// Returns the seconds from `online_time` to the end of its ten-day period.
int64_t rest_of_period(int64_t online_time) {
    const int64_t since_start = online_time % PERIOD_S;
    return since_start < 0 ? -since_start : PERIOD_S - since_start;
}

// Computes from + k * (to - from) / steps for k = 0, 1, 2 ..., truncated toward zero, without a
// product.
struct LineWalk {
    int64_t value;     // value at step k
    int64_t fraction;  // truncated remainder at step k, in units of 1 / `steps`
    int64_t whole;     // whole change per step
    int64_t rest;      // remaining change per step, in units of 1 / `steps`
    int64_t sign;
    int64_t steps;
};

LineWalk start_walk(int32_t from, int32_t to, int32_t steps) {
    const int64_t change = int64_t{to} - from;
    const int64_t sign = change < 0 ? -1 : 1;
    return {.value = from,
            .fraction = 0,
            .whole = change / steps,
            .rest = sign * (change % steps),
            .sign = sign,
            .steps = steps};
}

void step(LineWalk& walk) {
    walk.value += walk.whole;
    walk.fraction += walk.rest;
    if (walk.fraction >= walk.steps) {
        walk.fraction -= walk.steps;
        walk.value += walk.sign;
    }
}

// Adds the seconds since the previous call if the battery was full in that call.
void update_full_time(AgeingState& ageing, int64_t& full_stay_start, int64_t boot_time,
                      int32_t capacity_percent) {
    if (full_stay_start != 0) {
        ageing.soc_full_total_time =
            low_i32(int64_t{ageing.soc_full_total_time} + elapsed_i32(boot_time, full_stay_start));
    }
    full_stay_start = capacity_percent >= FULL_CAPACITY_PERCENT ? boot_time : 0;
}

}  // namespace

void update_arrhenius(ServiceState& state, const SysfsParams& snapshot, const Policy& policy) {
    SoftChargeMemory& memory = state.soft_charge;
    const int32_t temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP);
    const int32_t voltage_uv = param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW);
    const int32_t seconds = difference_i32(state.usage.online_time, memory.arrhenius_online_time);
    if (memory.arrhenius_online_time != 0 && seconds >= 1) {
        LineWalk temperature =
            start_walk(memory.arrhenius_temperature_decic, temperature_decic, seconds);
        LineWalk voltage = start_walk(memory.arrhenius_voltage_uv, voltage_uv, seconds);
        const ArrheniusModel model = arrhenius_model(policy.arrhenius);
        Unpacked total = unpack(state.ageing.total_arrhenius);
        for (int64_t from = 0; from < seconds;) {
            const int64_t online_time = memory.arrhenius_online_time + from;
            const int64_t end = std::min<int64_t>(seconds, from + rest_of_period(online_time));
            extended* const stored =
                period_value(state.ageing, &AgeingState::arrhenius_per_10days, online_time);
            Unpacked period = unpack(stored != nullptr ? *stored : 0);
            for (; from < end; from++) {
                const Unpacked& rate = arrhenius_rate(model, memory.arrhenius_terms,
                                                      static_cast<int32_t>(temperature.value),
                                                      static_cast<int32_t>(voltage.value));
                total = add(total, rate);
                period = add(period, rate);
                step(temperature);
                step(voltage);
            }
            if (stored != nullptr) {
                *stored = pack(period);
            }
        }
        state.ageing.total_arrhenius = pack(total);
    }
    memory.arrhenius_temperature_decic = temperature_decic;
    memory.arrhenius_voltage_uv = voltage_uv;
    memory.arrhenius_online_time = state.usage.online_time;
}

void update_full_stay_degradation(ServiceState& state, const SysfsParams& snapshot,
                                  const Policy& policy) {
    update_full_time(state.ageing, state.soft_charge.full_stay_start, state.clock.cycle_boot_time,
                     param_integer(snapshot, PARAM_BATTERY_CAPACITY));

    const int32_t temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP);
    const extended volts =
        static_cast<extended>(param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW)) / 1'000'000;
    int32_t& previous = state.soft_charge.previous_full_stay_time;
    const int32_t seconds = difference_i32(state.ageing.soc_full_total_time, previous);
    if (temperature_is_valid(temperature_decic) && is_valid(volts) && previous != 0 &&
        seconds >= 1) {
        const extended lost = loss_rate(policy.full_stay, temperature_decic, volts) *
                              (static_cast<extended>(seconds) / SECONDS_PER_HOUR) * 100;
        state.ageing.total_full_stay_cap_degradation += lost;
        add_to_period(state.ageing, &AgeingState::full_stay_capacity_degradation_per_10days,
                      state.usage.online_time, lost);
    }
    previous = state.ageing.soc_full_total_time;
}

void update_cycle_degradation(ServiceState& state, const SysfsParams& snapshot,
                              const Policy& policy) {
    const int32_t temperature_decic = param_integer(snapshot, PARAM_BATTERY_TEMP);
    const extended volts = static_cast<extended>(param_integer(snapshot, PARAM_VBAT_FULL)) / 1000;
    int32_t& previous = state.soft_charge.previous_cycle_count;
    const int32_t charge = difference_i32(state.usage.total_cycle_count, previous);
    if (temperature_is_valid(temperature_decic) && is_valid(volts) && previous != 0 &&
        charge >= 1) {
        const extended lost = loss_rate(policy.charge_cycle, temperature_decic, volts) *
                              (static_cast<extended>(charge) * CHARGE_UNIT) * 100;
        state.ageing.total_cycle_degradation += lost;
        add_to_period(state.ageing, &AgeingState::cycle_degradation_per_10days,
                      state.usage.online_time, lost);
    }
    previous = low_i32(state.usage.total_cycle_count);
}

}  // namespace cellwarden

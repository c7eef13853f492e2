#include "tools/lifetime/life.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "phone/phone_attributes.h"
#include "platform/unit_store.h"
#include "tools/lifetime/readings.h"

namespace cellwarden::lifetime {
namespace {

using namespace cellwarden::phone;

enum Phase : int { PHASE_CHARGING_WHILE_OFF = 1, PHASE_ON = 3, PHASE_SHUTTING_DOWN = 4 };

constexpr int64_t START_UP_S = 30;     // from power on to the daemon's first cycle
constexpr int64_t POWERED_OFF_S = 60;  // time switched off in a restart
constexpr double BOOT_SOC = 0.03;      // an empty phone boots at this state of charge
constexpr double OFF_MA = 0.5;         // load of a phone that is switched off
constexpr double LONGEST_OFF_STEP_S = 3600;
constexpr double NOTICE_S = 1;  // time from a change that the driver reports to the daemon's cycle

// The system reduces performance and charging current as the board warms: by one level per degree
// from this temperature on.
constexpr double MITIGATION_FROM_C = 42;

void advance(Life& life, double seconds) {
    Phone& phone = life.phone;
    const double soc = phone.battery.soc;
    advance_phone(phone, seconds);
    const Battery& battery = phone.battery;
    advance_cell(life.cell, {.seconds = seconds,
                             .temp_c = battery.temp_c,
                             .soc_before = soc,
                             .soc = battery.soc,
                             .open_circuit_v = open_circuit_uv(battery.soc) / 1e6,
                             .terminal_v = terminal_uv(battery) / 1e6,
                             .charger_v = float_voltage_uv(phone.charger) / 1e6,
                             .at_full = life.cell.watches_full && capacity_percent(phone) >= 100});
    phone.battery.state_of_health = life.cell.soh * life.profile.capacity_percent / 100;
    phone.battery.resistance_mohm =
        life.profile.resistance_mohm * resistance_factor(life.cell, battery.temp_c);
    phone.charger.thermal_level =
        std::clamp(static_cast<int>(std::floor(board_temp_c(phone) - MITIGATION_FROM_C)) + 1, 0,
                   phone.charger.thermal_level_max);
    follow_battery(life.gauge, life.profile.gauge, phone);
    life.time_s += std::lround(seconds);
    life.boot_s += std::lround(seconds);
}

// Applies the daemon's writes to the driver's attributes.
void obey_write(Life& life, const Effect& write) {
    if (write.name == SysfsParamTable[PARAM_BATT_AGING_LEVEL].path) {
        obey_attribute_write(life.phone, PARAM_BATT_AGING_LEVEL, write.bytes);
    } else if (write.name == SysfsParamTable[PARAM_RESTORED_CAPACITY].path) {
        restore_capacity(life.phone, atoi(write.bytes.c_str()));
        life.driver_has_news = true;
    }
}

void take_effects(Life& life) {
    for (const Effect& effect : std::exchange(life.device.effects, {})) {
        if (effect.kind == Effect::Kind::ATTRIBUTE) {
            obey_write(life, effect);
        }
        if (life.watch_effect) {
            life.watch_effect(life, effect);
        }
    }
}

void run_cycle(Life& life) {
    life.state.clock.cycle_boot_time = life.boot_s;
    life.state.clock.cycle_wall_time = wall_s(life);
    read_phone(life.phone, life.snapshot);
    run_full_cycle(device_of(life.device), life.state, life.stat, life.connection, life.snapshot,
                   life.policy.rules);
    take_effects(life);
    life.cycles++;
}

void switch_on(Life& life, Phase phase) {
    life.is_on = true;
    life.phone.shutdown_phase = phase;
    life.phone.charger.ageing_level = 0;  // the driver resets it
    restart_gauge(life.gauge, life.phone);
    life.boot_s = START_UP_S;
    life.state = ServiceState{};
    load_records(device_of(life.device), life.state, life.stat, life.connection);
}

void shut_down(Life& life) {
    life.phone.shutdown_phase = PHASE_SHUTTING_DOWN;
    run_cycle(life);
    life.is_on = false;
}

void restart(Life& life, bool is_crash) {
    if (is_crash) {
        life.is_on = false;
    } else {
        shut_down(life);
    }
    life.phone.load_ma = OFF_MA;
    advance(life, POWERED_OFF_S);
    switch_on(life, PHASE_ON);
    life.restarts++;
}

void apply_usage(Life& life, const Usage& usage) {
    Phone& phone = life.phone;
    phone.ambient_c = usage.ambient_c;
    phone.load_ma = life.is_on ? usage.load_ma : OFF_MA;
    Charger& charger = phone.charger;
    charger.smart_stop_percent = usage.charger != nullptr ? usage.smart_stop_percent : 100;
    if (usage.charger == nullptr) {
        charger.source = Source::NONE;
        charger.watts = 0;
    } else {
        charger.source = usage.charger->source;
        charger.type = usage.charger->type;
        charger.watts = usage.charger->watts;
    }
    advance_phone(phone, 0);  // updates the currents
}

double seconds_to_next_cycle(const Life& life, const Usage& usage) {
    const auto to_change = static_cast<double>(next_change(life.plan, life.time_s) - life.time_s);
    if (!life.is_on) {
        return std::min(to_change, LONGEST_OFF_STEP_S);
    }
    return usage.suspended ? std::max(to_change, life.profile.cycle_s) : life.profile.cycle_s;
}

// A new phone has no record. Unknown dates are those of the first day.
std::map<uint32_t, std::string> stored_units(const Profile& profile, const Past* past) {
    const time_t first = past == nullptr ? profile.start_wall_s : first_use_s(profile, past->stat);
    char date[8] = {};
    struct tm utc = {};
    (void)strftime(date, sizeof date, "%y%m%d", gmtime_r(&first, &utc));
    std::map<uint32_t, std::string> units = {
        {UNIT_PRODUCTION_DATE, date},
        {UNIT_FIRST_USAGE_DATE, bytes_of(static_cast<int32_t>(first))}};
    if (past != nullptr) {
        for (const auto& [unit, bytes] : past->units) {
            units[unit] = bytes;
        }
        units[UNIT_BATT_STAT] = bytes_of(past->stat);
    }
    return units;
}

}  // namespace

Life begin_life(const Profile& profile, const CarePolicy& policy, uint64_t seed, const Past* past) {
    Life life{.profile = profile,
              .policy = policy,
              .plan = {.profile = profile, .seed = seed},
              .phone = {},
              .device = {.units = stored_units(profile, past)},
              .watch_effect = {},
              .gauge = {.random = {~seed}},
              .cell = past == nullptr ? begin_cell(profile.cell)
                                      : aged_cell(profile, past->stat, policy.rules.bins),
              .state = {},
              .stat = {},
              .connection = {},
              .snapshot = {}};
    life.phone.model_name = profile.battery_model;
    life.phone.charger.steps = policy.driver;
    life.phone.battery.charge_full_design_uah = profile.design_mah * 1e3;
    life.phone.battery.resistance_mohm =
        profile.resistance_mohm * resistance_factor(life.cell, life.phone.battery.temp_c);
    life.phone.battery.soc = profile.soc_percent / 100;
    life.phone.battery.state_of_health = life.cell.soh * profile.capacity_percent / 100;
    for (const AttributeFile& attribute : start_attributes(life.phone)) {
        life.device.attributes[attribute_path(life.phone, attribute.id)] = attribute.text;
    }
    switch_on(life, PHASE_ON);
    return life;
}

void live_on(Life& life) {
    if (life.is_on) {
        if (const std::optional<Restart> due = take_restart(life.plan, life.time_s)) {
            restart(life, due->is_crash);
        }
    }
    Usage usage = usage_at(life.plan, life.time_s, capacity_percent(life.phone));
    apply_usage(life, usage);
    if (!life.is_on && usage.charger != nullptr) {
        switch_on(life, PHASE_CHARGING_WHILE_OFF);
        apply_usage(life, usage);
    } else if (life.phone.shutdown_phase == PHASE_CHARGING_WHILE_OFF &&
               life.phone.battery.soc >= BOOT_SOC) {
        restart(life, false);
        apply_usage(life, usage);
    }
    if (life.is_on && capacity_percent(life.phone) <= 0 && usage.charger == nullptr) {
        note_empty(life.plan, life.time_s);
        shut_down(life);
        apply_usage(life, usage);
    } else if (life.is_on) {
        run_cycle(life);
        if (std::exchange(life.driver_has_news, false)) {
            advance(life, NOTICE_S);
            run_cycle(life);
        }
    }
    advance(life, seconds_to_next_cycle(life, usage));
}

void end_life(Life& life) {
    if (life.is_on) {
        shut_down(life);
    }
}

int64_t wall_s(const Life& life) {
    return life.profile.start_wall_s + life.time_s;
}

Levels levels_of(const ServiceState& state) {
    constexpr uint8_t NOT_DECIDED = 0xFF;
    const int32_t period = std::clamp(state.usage.online_time / PERIOD_S, 0, PERIOD_COUNT - 1);
    const auto level = [&](const PerPeriod<uint8_t>& levels) {
        const uint8_t decided = levels[static_cast<size_t>(period)];
        return decided == NOT_DECIDED ? 0 : int32_t{decided};
    };
    return {state.levels.soft_charge1_level, level(state.levels.arrhenius_lv),
            level(state.levels.full_stay_capacity_degradation_aging_lv)};
}

}  // namespace cellwarden::lifetime

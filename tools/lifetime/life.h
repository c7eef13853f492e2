// The life of one phone: the user, the phone and its battery, and the daemon's own cycle code, from
// the first day to the last.
#pragma once

#include <cstdint>
#include <functional>

#include "cycle/cycle.h"
#include "phone/phone.h"
#include "phone/stand_in.h"
#include "policies/policy_file.h"
#include "tools/lifetime/cell.h"
#include "tools/lifetime/gauge.h"
#include "tools/lifetime/past.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {

struct Life {
    const Profile& profile;    // must outlive the life
    const CarePolicy& policy;  // must outlive the life
    UsagePlan plan;
    phone::Phone phone;
    StandIn device;  // the phone of the daemon's code: units, log, events
    // Called with each effect of each cycle.
    std::function<void(const Life& life, const Effect& effect)> watch_effect;
    Gauge gauge;
    Cell cell;

    // The daemon's records.
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
    SysfsParams snapshot;

    int64_t time_s = 0;  // since midnight of the first day
    int64_t boot_s = 0;  // since the phone was switched on
    bool is_on = false;
    bool driver_has_news = false;  // it has received a capacity and will wake the daemon once more
    uint64_t cycles = 0;
    uint32_t restarts = 0;
};

// Returns a phone, switched on. A new phone has no statistics unit. A phone with a past has the
// record of `past` and its aged cell; `profile` must be profile_of() it. device.units also has the
// dates that the factory writes.
Life begin_life(const Profile& profile, const CarePolicy& policy, uint64_t seed,
                const Past* past = nullptr);

// Simulates a step: a cycle of the daemon, then the time until the next cycle.
void live_on(Life& life);

// Ends the life like switching off the phone: the record is stored.
void end_life(Life& life);

// Returns the current wall clock in seconds since 1970.
int64_t wall_s(const Life& life);

// The levels of the current period: by throughput, by Arrhenius ageing, by full stay.
struct Levels {
    int32_t by_throughput;
    int32_t by_arrhenius;
    int32_t by_full_stay;
};
Levels levels_of(const ServiceState& state);

}  // namespace cellwarden::lifetime

// The life of one phone: the user, the phone and its battery, and the daemon's own cycle code, from
// the first day to the last.
#pragma once

#include <cstdint>
#include <functional>

#include "cycle/cycle.h"
#include "phone/phone.h"
#include "phone/stand_in.h"
#include "tools/lifetime/fade.h"
#include "tools/lifetime/gauge.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {

struct Life {
    const Profile& profile;  // must outlive the life
    UsagePlan plan;
    phone::Phone phone;
    StandIn device;  // what the daemon's code finds around it: units, log, events
    std::function<void(const Life& life, const Effect& effect)> watch_effect;  // of each cycle
    Gauge gauge;
    Fade fade;

    // The daemon's records, as its main function holds them.
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
    SysfsParams snapshot;

    int64_t time_s = 0;  // since midnight of the first day
    int64_t boot_s = 0;  // since the phone was switched on
    bool is_on = false;
    bool driver_has_news = false;  // it was handed a capacity, which wakes the daemon once more
    uint64_t cycles = 0;
    uint32_t restarts = 0;
};

// A new phone, switched on. Its statistics unit is empty; device.units holds the dates that the
// factory writes.
Life begin_life(const Profile& profile, uint64_t seed);

// Lives on for one step: a cycle of the daemon, then the time until the next one.
void live_on(Life& life);

// Ends as a phone ends that is switched off: the record is stored.
void end_life(Life& life);

// Wall clock of this moment, since 1970.
int64_t wall_s(const Life& life);

// The levels in force for the current period: by throughput, by Arrhenius ageing, by full stay.
struct Levels {
    int32_t by_throughput;
    int32_t by_arrhenius;
    int32_t by_full_stay;
};
Levels levels_of(const ServiceState& state);

}  // namespace cellwarden::lifetime

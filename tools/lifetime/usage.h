// The usage of the phone at a moment: the occasions of the profile, drawn at random for each day,
// and the charges of a user who watches the battery. The draws depend on seed and time only, so
// batteries that age differently have the same user.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "state/facts.h"
#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

// Times are in seconds since midnight of the first day.
inline constexpr double DAYS_PER_YEAR = 365.25;

struct Usage {
    double load_ma;
    double ambient_c;
    const ChargerKind* charger;  // nullptr: not connected
    bool suspended;
    int smart_stop_percent = 100;
};

// An occasion on a certain day.
struct Visit {
    const Occasion* occasion;
    int64_t start_s;
    int64_t end_s;
    double load_factor = 1;
    bool judged = false;  // `happens` is decided, at its start
    bool happens = false;
};

struct Restart {
    int64_t at_s;
    bool is_crash;
};

struct UsagePlan {
    const Profile& profile;  // must outlive the plan
    uint64_t seed;
    int64_t planned_days = 0;
    std::vector<Visit> visits{};      // current and future ones, by day and order in the profile
    std::vector<Restart> restarts{};  // future ones
    double weather = 0;               // of the latest planned day, -1 to 1
    int64_t judged_hour = -1;         // latest hour in which the user decided whether to charge
    double raised_percent = 0;        // of Worry::below_percent, at the time `raised_at_s`
    int64_t raised_at_s = 0;
};

// Returns the usage at `time_s` of a phone that shows `capacity_percent`. `time_s` must not
// decrease from call to call.
Usage usage_at(UsagePlan& plan, int64_t time_s, int capacity_percent);

// Notes that the phone has run empty.
void note_empty(UsagePlan& plan, int64_t time_s);

// Returns the next time after `time_s` at which an occasion starts or ends, or the next midnight if
// that is earlier.
int64_t next_change(const UsagePlan& plan, int64_t time_s);

// Removes the restarts that are due from the plan. Returns the latest of them, if any.
std::optional<Restart> take_restart(UsagePlan& plan, int64_t time_s);

}  // namespace cellwarden::lifetime

// What the user does with the phone at a moment: the profile's occasions, drawn day by day. The
// draws of a day depend on the seed and the day alone, so two runs whose batteries age differently
// have the same user.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

// Times are in seconds since midnight of the first day.
inline constexpr int64_t SECONDS_PER_DAY = 86'400;

struct Usage {
    double load_ma;
    double ambient_c;
    const ChargerKind* charger;  // null: none
    bool suspended;
};

// One carrying-out of an occasion.
struct Visit {
    const Occasion* occasion;
    int64_t start_s;
    int64_t end_s;
    bool judged = false;  // whether it happens was decided, at its start
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
    std::vector<Visit> visits{};      // running or still to come, by day and order in the profile
    std::vector<Restart> restarts{};  // still to come
    double weather = 0;               // of the latest day planned, -1 to 1
};

// The usage at `time_s`, which never goes back, of a phone that shows `capacity_percent`.
Usage usage_at(UsagePlan& plan, int64_t time_s, int capacity_percent);

// The next moment after `time_s` at which a visit of the plan starts or ends; midnight at the
// latest.
int64_t next_change(const UsagePlan& plan, int64_t time_s);

// Takes the restarts that are due out of the plan and returns the latest, if any.
std::optional<Restart> take_restart(UsagePlan& plan, int64_t time_s);

}  // namespace cellwarden::lifetime

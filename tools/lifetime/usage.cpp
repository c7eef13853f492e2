#include "tools/lifetime/usage.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "state/facts.h"
#include "state/wrapping.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {
namespace {

constexpr double DAYS_PER_MONTH = DAYS_PER_YEAR / 12;
constexpr double WARMEST_DAY = 200;  // day of the year
constexpr double WARMEST_HOUR = 15;  // hour of the day

constexpr int64_t FIRST_HOUR_AWAKE = 7;
constexpr int64_t FIRST_HOUR_ASLEEP = 23;
constexpr double HALF_FORGOTTEN_S = 30.0 * SECONDS_PER_DAY;

// What a draw decides; each has numbers of its own.
enum Purpose : uint64_t { PURPOSE_LOAD = 1, PURPOSE_PEAK, PURPOSE_WORRY };

// Returns the random numbers of a moment, independent of all earlier draws.
Random draws_of(const UsagePlan& plan, Purpose purpose, int64_t moment) {
    const uint64_t number = wrapping_add(wrapping_mul(static_cast<uint64_t>(moment), 4), purpose);
    Random random{wrapping_add(wrapping_mul(plan.seed, 0xD1342543DE82EF95),
                               wrapping_mul(number, 0xAF251AF3B0F025B5))};
    (void)next_share(random);
    return random;
}

int64_t days_since_1970(const Profile& profile, int64_t day) {
    return profile.start_wall_s / SECONDS_PER_DAY + day;
}

bool is_day_of(Days days, int64_t day_since_1970) {
    const int64_t weekday = (day_since_1970 + 4) % 7;  // 0 is a Sunday
    const bool weekend = weekday == 0 || weekday == 6;
    return days == Days::ALL || (days == Days::WEEKEND) == weekend;
}

// Draws every number even if it is not used, so that a change of one chance in a profile does not
// change the rest of the day.
void plan_day(UsagePlan& plan) {
    const Profile& profile = plan.profile;
    const int64_t day = plan.planned_days++;
    const int64_t midnight = day * SECONDS_PER_DAY;
    Random random{wrapping_add(wrapping_mul(plan.seed, 0x2545F4914F6CDD1D),
                               wrapping_mul(static_cast<uint64_t>(day), 0x9E6C63D0676A9A99))};
    plan.weather = next_spread(random, 1);
    const auto draw_restart = [&](double per_day, bool is_crash) {
        const bool happens = next_share(random) < per_day;
        const auto second = static_cast<int64_t>(next_share(random) * SECONDS_PER_DAY);
        if (happens) {
            plan.restarts.push_back({midnight + second, is_crash});
        }
    };
    draw_restart(profile.restarts_per_month / DAYS_PER_MONTH, false);
    draw_restart(profile.crashes_per_year / DAYS_PER_YEAR, true);
    for (const Occasion& occasion : profile.occasions) {
        const bool happens = next_share(random) < occasion.chance;
        const double shift = next_spread(random, occasion.spread_s);
        if (happens && is_day_of(occasion.days, days_since_1970(profile, day))) {
            const int64_t start = midnight + occasion.at_s + std::lround(shift);
            Random loads = draws_of(plan, PURPOSE_LOAD, start);
            plan.visits.push_back({.occasion = &occasion,
                                   .start_s = start,
                                   .end_s = start + std::lround(occasion.for_s),
                                   .load_factor = 1 + next_spread(loads, occasion.load_spread)});
        }
    }
}

double ambient_at(const UsagePlan& plan, const Place& place, int64_t time_s) {
    constexpr double TURN = 2 * std::numbers::pi;
    const auto seconds_since_1970 = static_cast<double>(plan.profile.start_wall_s + time_s);
    const double day_of_year = std::fmod(seconds_since_1970 / SECONDS_PER_DAY, DAYS_PER_YEAR);
    const double hour = std::fmod(static_cast<double>(time_s) / 3600, 24);
    return place.mean_c + place.weather_c * plan.weather +
           place.season_c * std::cos((day_of_year - WARMEST_DAY) / DAYS_PER_YEAR * TURN) +
           place.day_c * std::cos((hour - WARMEST_HOUR) / 24 * TURN);
}

double limit_of_worry(const UsagePlan& plan, const Worry& worry, int64_t time_s) {
    const auto passed_s = static_cast<double>(time_s - plan.raised_at_s);
    const double raised = plan.raised_percent * std::exp2(-passed_s / HALF_FORGOTTEN_S);
    return std::min(worry.at_most_percent, worry.below_percent + raised);
}

// Starts a charge if the user sees a low battery and decides to charge.
void watch_battery(UsagePlan& plan, const Worry& worry, int64_t time_s, int capacity_percent) {
    const int64_t hour = time_s / SECONDS_PER_HOUR;
    const bool awake = hour % 24 >= FIRST_HOUR_AWAKE && hour % 24 < FIRST_HOUR_ASLEEP;
    if (!awake || hour == plan.judged_hour ||
        capacity_percent >= limit_of_worry(plan, worry, time_s)) {
        return;
    }
    plan.judged_hour = hour;
    Random random = draws_of(plan, PURPOSE_WORRY, hour);
    if (next_share(random) < worry.chance) {
        plan.visits.push_back({.occasion = &worry.charge,
                               .start_s = time_s,
                               .end_s = time_s + std::lround(worry.charge.for_s)});
    }
}

double load_of(const UsagePlan& plan, const Visit& visit, int64_t time_s, double other_ma) {
    const Occasion& occasion = *visit.occasion;
    if (occasion.peak_chance > 0) {
        Random random = draws_of(plan, PURPOSE_PEAK, time_s);
        if (next_share(random) < occasion.peak_chance) {
            return occasion.peak_ma;
        }
    }
    return occasion.load_ma ? *occasion.load_ma * visit.load_factor : other_ma;
}

}  // namespace

Usage usage_at(UsagePlan& plan, int64_t time_s, int capacity_percent) {
    // A visit may start up to half a day before its day, which is therefore planned earlier.
    while (plan.planned_days * SECONDS_PER_DAY <= time_s + SECONDS_PER_DAY / 2) {
        plan_day(plan);
    }
    std::erase_if(plan.visits, [=](const Visit& visit) { return visit.end_s <= time_s; });

    const Profile& profile = plan.profile;
    if (profile.worry) {
        watch_battery(plan, *profile.worry, time_s, capacity_percent);
    }
    size_t place = profile.home;
    Usage usage{profile.idle_ma, 0, nullptr, false};
    for (Visit& visit : plan.visits) {
        if (visit.start_s > time_s) {
            continue;
        }
        const Occasion& occasion = *visit.occasion;
        if (!visit.judged) {
            visit.judged = true;
            visit.happens = capacity_percent < occasion.below_percent;
        }
        visit.happens = visit.happens && capacity_percent < occasion.unplug_at_percent;
        if (!visit.happens) {
            continue;
        }
        usage.load_ma = load_of(plan, visit, time_s, usage.load_ma);
        place = occasion.place.value_or(place);
        usage.charger = occasion.charger ? &profile.chargers[*occasion.charger] : usage.charger;
        usage.suspended = usage.suspended || occasion.suspended;
        usage.smart_stop_percent = std::min(usage.smart_stop_percent, occasion.smart_stop_percent);
    }
    usage.suspended = usage.suspended && usage.charger == nullptr;
    if (usage.suspended) {
        usage.load_ma = profile.suspended_ma;
    }
    usage.ambient_c = ambient_at(plan, profile.places[place], time_s);
    return usage;
}

void note_empty(UsagePlan& plan, int64_t time_s) {
    if (plan.profile.worry) {
        const Worry& worry = *plan.profile.worry;
        plan.raised_percent =
            limit_of_worry(plan, worry, time_s) - worry.below_percent + worry.per_empty_percent;
        plan.raised_at_s = time_s;
    }
}

int64_t next_change(const UsagePlan& plan, int64_t time_s) {
    int64_t next = (time_s / SECONDS_PER_DAY + 1) * SECONDS_PER_DAY;
    for (const Visit& visit : plan.visits) {
        for (const int64_t moment : {visit.start_s, visit.end_s}) {
            if (moment > time_s) {
                next = std::min(next, moment);
            }
        }
    }
    return next;
}

std::optional<Restart> take_restart(UsagePlan& plan, int64_t time_s) {
    std::optional<Restart> due;
    std::erase_if(plan.restarts, [&](const Restart& restart) {
        if (restart.at_s > time_s) {
            return false;
        }
        due = restart;
        return true;
    });
    return due;
}

}  // namespace cellwarden::lifetime

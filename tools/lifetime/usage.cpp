#include "tools/lifetime/usage.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "state/wrapping.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {
namespace {

constexpr double DAYS_PER_MONTH = DAYS_PER_YEAR / 12;
constexpr double WARMEST_DAY = 200;  // day of the year
constexpr double WARMEST_HOUR = 15;  // hour of the day

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
            plan.visits.push_back({&occasion, start, start + std::lround(occasion.for_s)});
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

}  // namespace

Usage usage_at(UsagePlan& plan, int64_t time_s, int capacity_percent) {
    // A visit may start up to half a day before its day, which is therefore planned earlier.
    while (plan.planned_days * SECONDS_PER_DAY <= time_s + SECONDS_PER_DAY / 2) {
        plan_day(plan);
    }
    std::erase_if(plan.visits, [=](const Visit& visit) { return visit.end_s <= time_s; });

    const Profile& profile = plan.profile;
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
        usage.load_ma = occasion.load_ma.value_or(usage.load_ma);
        place = occasion.place.value_or(place);
        usage.charger = occasion.charger ? &profile.chargers[*occasion.charger] : usage.charger;
        usage.suspended = usage.suspended || occasion.suspended;
    }
    usage.suspended = usage.suspended && usage.charger == nullptr;
    if (usage.suspended) {
        usage.load_ma = profile.suspended_ma;
    }
    usage.ambient_c = ambient_at(plan, profile.places[place], time_s);
    return usage;
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

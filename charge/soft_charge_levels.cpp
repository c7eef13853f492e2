#include "charge/soft_charge_levels.h"

#include <algorithm>
#include <array>

#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr uint8_t NOT_DECIDED = 0xFF;

static_assert(std::is_sorted(CYCLE_COUNT_BORDERS.begin(), CYCLE_COUNT_BORDERS.end()));

// Levels are frozen after the horizon of their projection.
constexpr int32_t HORIZON = LEVEL_HORIZON_PERIODS;
constexpr int32_t LAST_JUDGED_SLOT = HORIZON - 1;
constexpr int32_t LAST_JUDGED_SECOND = HORIZON * PERIOD_S - 1;

// The clock of the levels runs 256 s beside the ten-day mark: the first period is judged in its
// last 256 s, and counts as the first up to 255 s into the second.
constexpr int32_t FIRST_JUDGED_SECOND = PERIOD_S - 256;
constexpr int32_t FIRST_PERIOD_END = PERIOD_S + 255;

using Projection = std::array<extended, HORIZON>;

// Ten-day period and its slot, of an online time of 0 or more.
constexpr size_t slot_of(int32_t online_time) {
    return static_cast<size_t>(std::min(online_time / PERIOD_S, PERIOD_COUNT - 1));
}

// Level of the nearest decided slot before `slot`; 0 where there is none.
int32_t nearest_decided_before(const PerPeriod<uint8_t>& levels, size_t slot) {
    while (slot-- > 0) {
        if (levels[slot] != NOT_DECIDED) {
            return levels[slot];
        }
    }
    return 0;
}

// The ageing of all 108 periods, if the rest of them age as the latest whole one did.
Projection project(const PerPeriod<extended>& per_period, extended total, int32_t online_time) {
    Projection projection;
    if (online_time <= FIRST_PERIOD_END) {
        projection.fill(total);
        return projection;
    }
    const size_t known = slot_of(online_time);
    for (size_t i = 0; i < projection.size(); i++) {
        projection[i] = per_period[std::min(i, known - 1)];
    }
    return projection;
}

// The level of this cycle. `judge` turns the previous level and the projection into a level.
template <typename Judge>
int32_t decide_period_level(PerPeriod<uint8_t>& levels, const PerPeriod<extended>& per_period,
                            extended total, int32_t online_time, Judge judge) {
    if (online_time < 0) {
        return 0;
    }
    const size_t slot = slot_of(online_time);
    if (levels[slot] != NOT_DECIDED) {
        return levels[slot];
    }
    int32_t level = 0;
    if (online_time > LAST_JUDGED_SECOND) {
        level = nearest_decided_before(levels, LAST_JUDGED_SLOT + 1);
    } else if (online_time >= FIRST_JUDGED_SECOND) {
        level =
            judge(nearest_decided_before(levels, slot), project(per_period, total, online_time));
    }
    levels[slot] = static_cast<uint8_t>(level);
    return level;
}

// The expected Arrhenius sum at the end of battery life raises the level from the upper border on
// and lowers it below the lower one.
int32_t judge_arrhenius(const Device& device, int32_t previous, const Projection& projection,
                        int32_t online_time) {
    log_line(device, "<3>cellwarden: Phone online time has reached %d days\n",
             static_cast<int32_t>(slot_of(online_time)) * 10);
    uint32_t expected = 0;
    for (const extended value : projection) {
        expected += to_u32(value);
    }
    log_line(device, "<3>cellwarden: Expected arrhenius time at end of battery life is %d\n",
             static_cast<int32_t>(expected));
    if (expected >= ARRHENIUS_RAISE_FROM) {
        return std::min(previous + 1, MAX_LEVEL);
    }
    return expected < ARRHENIUS_LOWER_BELOW && previous > 0 ? previous - 1 : previous;
}

// Whether the level may rise in this period: it rises at most once in three periods in a row,
// unless it fell in between. An undecided period counts as higher than any level.
bool full_stay_level_may_rise(const PerPeriod<uint8_t>& levels, int32_t previous,
                              int32_t online_time) {
    constexpr int32_t WALK_BACK = 3;
    const int32_t period = online_time / PERIOD_S;
    for (int32_t back = 1; back <= std::min(WALK_BACK, period); back++) {
        const int32_t then = levels[static_cast<size_t>(period - back)];
        if (previous != then) {
            return previous < then;
        }
    }
    return true;
}

int32_t judge_full_stay(const PerPeriod<uint8_t>& levels, int32_t previous,
                        const Projection& projection, int32_t soh, int32_t online_time) {
    constexpr int32_t RISE_FROM_PERCENT = 82;
    constexpr int32_t TOP_RISING_LEVEL = 3;

    extended expected_loss = 0;
    for (const extended value : projection) {
        expected_loss += value;
    }
    const extended health = static_cast<extended>(soh) / 1000;
    if (health - expected_loss > CAPACITY_KEPT_PERCENT) {
        return std::max(previous - 1, 0);
    }
    if (previous < TOP_RISING_LEVEL && health >= RISE_FROM_PERCENT &&
        full_stay_level_may_rise(levels, previous, online_time)) {
        return previous + 1;
    }
    return previous;
}

// In the last judged period a level of 3 or more becomes 4 for good.
int32_t settle_full_stay(int32_t level, int32_t online_time) {
    constexpr int32_t SETTLED_LEVEL = 4;
    constexpr int32_t SETTLING_FROM = LAST_JUDGED_SLOT * PERIOD_S;
    return level >= SETTLED_LEVEL - 1 && online_time >= SETTLING_FROM ? SETTLED_LEVEL : level;
}

}  // namespace

int32_t soft_charge1_level_of(uint32_t total_cycle_count) {
    const auto* const reached =
        std::lower_bound(CYCLE_COUNT_BORDERS.begin(), CYCLE_COUNT_BORDERS.end(), total_cycle_count);
    return static_cast<int32_t>(reached - CYCLE_COUNT_BORDERS.begin());
}

int32_t decide_arrhenius_level(const Device& device, ServiceState& state) {
    return decide_period_level(
        state.arrhenius_lv, state.arrhenius_per_10days, state.total_arrhenius, state.online_time,
        [&](int32_t previous, const Projection& projection) {
            return judge_arrhenius(device, previous, projection, state.online_time);
        });
}

int32_t decide_full_stay_level(ServiceState& state) {
    PerPeriod<uint8_t>& levels = state.full_stay_capacity_degradation_aging_lv;
    return decide_period_level(levels, state.full_stay_capacity_degradation_per_10days,
                               state.total_full_stay_cap_degradation, state.online_time,
                               [&](int32_t previous, const Projection& projection) {
                                   const int32_t judged = judge_full_stay(
                                       levels, previous, projection, state.soh, state.online_time);
                                   return settle_full_stay(judged, state.online_time);
                               });
}

}  // namespace cellwarden

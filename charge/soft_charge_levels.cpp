#include "charge/soft_charge.h"

#include <algorithm>
#include <array>

#include "platform/log.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

// Levels do not change after the horizon of their projection.
constexpr int32_t HORIZON = LEVEL_HORIZON_PERIODS;
constexpr int32_t LAST_JUDGED_SLOT = HORIZON - 1;
constexpr int32_t LAST_JUDGED_SECOND = HORIZON * PERIOD_S - 1;

// Levels are decided from 256 s before the first ten-day mark on. Until 255 s after the mark, the
// projection uses the total so far for each period.
constexpr int32_t FIRST_JUDGED_SECOND = PERIOD_S - 256;
constexpr int32_t FIRST_PERIOD_END = PERIOD_S + 255;

using Projection = std::array<extended, HORIZON>;

// Returns the ten-day period, and its slot, of an online time of 0 or more.
constexpr size_t slot_of(int32_t online_time) {
    return static_cast<size_t>(std::min(online_time / PERIOD_S, PERIOD_COUNT - 1));
}

// Returns the level of the nearest decided slot before `slot`; 0 if no earlier slot is decided.
int32_t nearest_decided_before(const PerPeriod<uint8_t>& levels, size_t slot) {
    while (slot > 0 && levels[slot - 1] == LEVEL_NOT_DECIDED) {
        slot--;
    }
    return slot > 0 ? levels[slot - 1] : 0;
}

// Returns the ageing of all 108 periods if the rest of them age like the latest complete one.
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

// Returns the level of this cycle. `judge` returns a level for the previous level and the
// projection.
template <typename Judge>
int32_t decide_period_level(PerPeriod<uint8_t>& levels, const PerPeriod<extended>& per_period,
                            extended total, int32_t online_time, Judge judge) {
    if (online_time < 0) {
        return 0;
    }
    const size_t slot = slot_of(online_time);
    if (levels[slot] != LEVEL_NOT_DECIDED) {
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

// The Arrhenius sum expected at the end of the battery's life raises the level from the upper
// border on, and lowers it below the lower border.
int32_t judge_arrhenius(const Device& device, const Policy& policy, int32_t previous,
                        const Projection& projection, int32_t online_time) {
    log_line(device, "<3>cellwarden: Phone online time has reached %d days\n",
             static_cast<int32_t>(slot_of(online_time)) * 10);
    uint32_t expected = 0;
    for (const extended value : projection) {
        wrapping_count(expected, to_u32(value));
    }
    log_line(device, "<3>cellwarden: Expected arrhenius time at end of battery life is %d\n",
             static_cast<int32_t>(expected));
    if (expected >= policy.arrhenius_raise_from) {
        return std::min(previous + 1, MAX_LEVEL);
    }
    return expected < policy.arrhenius_lower_below && previous > 0 ? previous - 1 : previous;
}

// Returns whether the level may rise in this period: it rises at most once in three consecutive
// periods, unless it fell in between. An undecided period counts as higher than any level.
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

int32_t judge_full_stay(const Policy& policy, const PerPeriod<uint8_t>& levels, int32_t previous,
                        const Projection& projection, const UsageState& usage) {
    extended expected_loss = 0;
    for (const extended value : projection) {
        expected_loss += value;
    }
    const extended health = static_cast<extended>(usage.soh) / 1000;
    if (health - expected_loss > policy.capacity_kept_percent) {
        return std::max(previous - 1, 0);
    }
    if (previous < policy.top_rising_level && health >= policy.rise_from_percent &&
        full_stay_level_may_rise(levels, previous, usage.online_time)) {
        return previous + 1;
    }
    return previous;
}

}  // namespace

int32_t soft_charge1_level_of(uint32_t total_cycle_count, const Policy& policy) {
    const auto& borders = policy.cycle_count_borders;
    const auto* const reached = std::lower_bound(borders.begin(), borders.end(), total_cycle_count);
    return static_cast<int32_t>(reached - borders.begin());
}

int32_t decide_arrhenius_level(const Device& device, LevelState& levels, const AgeingState& ageing,
                               int32_t online_time, const Policy& policy) {
    return decide_period_level(
        levels.arrhenius_lv, ageing.arrhenius_per_10days, ageing.total_arrhenius, online_time,
        [&](int32_t previous, const Projection& projection) {
            return judge_arrhenius(device, policy, previous, projection, online_time);
        });
}

int32_t decide_full_stay_level(LevelState& levels, const AgeingState& ageing,
                               const UsageState& usage, const Policy& policy) {
    PerPeriod<uint8_t>& decided = levels.full_stay_capacity_degradation_aging_lv;
    const auto judge = [&](int32_t previous, const Projection& projection) {
        constexpr int32_t SETTLING_FROM = LAST_JUDGED_SLOT * PERIOD_S;
        const int32_t top = policy.top_rising_level;
        const int32_t judged = judge_full_stay(policy, decided, previous, projection, usage);
        // In the last judged period, a level of `top` or more becomes `top` + 1 permanently.
        return judged >= top && usage.online_time >= SETTLING_FROM ? top + 1 : judged;
    };
    return decide_period_level(decided, ageing.full_stay_capacity_degradation_per_10days,
                               ageing.total_full_stay_cap_degradation, usage.online_time, judge);
}

}  // namespace cellwarden

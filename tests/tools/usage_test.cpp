// The user's days.
#include "tools/lifetime/usage.h"

#include <gtest/gtest.h>

#include "tools/small_profile.h"

namespace cellwarden::lifetime {
namespace {

constexpr int64_t MINUTE = 60;
constexpr int64_t HOUR = 3600;
constexpr int64_t DAY = 24 * HOUR;

TEST(Usage, TheLastOccasionThatSetsAPropertyWins) {
    const Profile profile = small_profile(R"({"occasions": [
        {"at": "08:00", "for_min": 120, "load_ma": 500, "place": "outdoors"},
        {"at": "09:00", "for_min": 120, "load_ma": 100, "charger": "slow"},
        {"at": "12:00", "for_min": 120, "suspended": true},
        {"at": "13:00", "for_min": 30, "charger": "fast"},
        {"at": "20:00", "for_min": 60, "load_ma": 900, "days": "weekend"},
        {"at": "23:00", "for_min": 120, "load_ma": 30}]})");
    const struct {
        const char* name;
        int64_t time_s;
        double load_ma;
        double ambient_c;
        const char* charger;
        bool suspended;
    } rows[] = {
        {"before the first", 8 * HOUR - 1, 40, 22, "", false},
        {"the first alone", 8 * HOUR, 500, 5, "", false},
        {"both", 9 * HOUR, 100, 5, "slow", false},
        {"the second alone", 10 * HOUR, 100, 22, "slow", false},
        {"at its end", 11 * HOUR, 40, 22, "", false},
        {"asleep", 12 * HOUR, 8, 22, "", true},
        {"awake on a charger", 13 * HOUR, 40, 22, "fast", false},
        {"asleep again", 13 * HOUR + 30 * MINUTE, 8, 22, "", true},
        {"a Thursday is no weekend", 20 * HOUR, 40, 22, "", false},
        {"past midnight", DAY + HOUR - 1, 30, 22, "", false},
        {"a Friday neither", DAY + 20 * HOUR, 40, 22, "", false},
        {"Saturday", 2 * DAY + 20 * HOUR, 900, 22, "", false},
        {"Sunday", 3 * DAY + 20 * HOUR, 900, 22, "", false},
        {"Monday", 4 * DAY + 20 * HOUR, 40, 22, "", false},
    };
    UsagePlan plan{.profile = profile, .seed = 1};
    for (const auto& row : rows) {
        const Usage usage = usage_at(plan, row.time_s, 50);
        EXPECT_EQ(usage.load_ma, row.load_ma) << row.name;
        EXPECT_NEAR(usage.ambient_c, row.ambient_c, 1e-9) << row.name;
        EXPECT_EQ(usage.charger == nullptr ? "" : usage.charger->name, row.charger) << row.name;
        EXPECT_EQ(usage.suspended, row.suspended) << row.name;
    }
}

TEST(Usage, TheBatteryDecidesAtTheStartAndEndsACharge) {
    const Profile profile = small_profile(R"({"occasions": [
        {"at": "08:00", "for_min": 60, "charger": "fast", "below_percent": 30,
         "unplug_at_percent": 80}]})");
    UsagePlan plan{.profile = profile, .seed = 1};
    const auto plugged = [&](int64_t time_s, int capacity) {
        return usage_at(plan, time_s, capacity).charger != nullptr;
    };
    EXPECT_FALSE(plugged(8 * HOUR, 30));
    EXPECT_FALSE(plugged(8 * HOUR + 60, 10)) << "was decided at the start";
    EXPECT_TRUE(plugged(DAY + 8 * HOUR, 29));
    EXPECT_TRUE(plugged(DAY + 8 * HOUR + 60, 79));
    EXPECT_FALSE(plugged(DAY + 8 * HOUR + 120, 80));
    EXPECT_FALSE(plugged(DAY + 8 * HOUR + 180, 79)) << "was unplugged for good";
}

TEST(Usage, SeedAndDayGiveTheDrawsWhateverTheBatteryDoes) {
    const Profile profile = small_profile(R"({"restarts_per_month": 10, "crashes_per_year": 100})");
    const auto evenings = [&](uint64_t seed, int capacity) {
        UsagePlan plan{.profile = profile, .seed = seed};
        std::vector<int64_t> moments;
        for (int64_t time_s = 0; time_s < 60 * DAY; time_s += 5 * MINUTE) {
            if (usage_at(plan, time_s, capacity).load_ma == 600) {
                moments.push_back(time_s);
            }
            if (const auto restart = take_restart(plan, time_s)) {
                moments.push_back(restart->is_crash ? -time_s : time_s);
            }
        }
        return moments;
    };
    EXPECT_EQ(evenings(1, 50), evenings(1, 90));
    EXPECT_NE(evenings(1, 50), evenings(2, 50));
    const size_t on_42_days = evenings(1, 50).size() / 24;  // 0.7 of 60 evenings of 24 moments
    EXPECT_NEAR(static_cast<double>(on_42_days), 42, 8);
}

TEST(Usage, TheNextChangeIsAStartAnEndOrMidnight) {
    const Profile profile = small_profile();
    UsagePlan plan{.profile = profile, .seed = 1};
    (void)usage_at(plan, 0, 50);
    EXPECT_EQ(next_change(plan, 0), 2 * HOUR);
    EXPECT_EQ(next_change(plan, 2 * HOUR), 5 * HOUR);
    EXPECT_EQ(next_change(plan, 22 * HOUR), DAY);
}

}  // namespace
}  // namespace cellwarden::lifetime

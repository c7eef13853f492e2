// The parts of a simulated life: the user's days, the seasons, how the battery fades, what the gauge learns; and the
// profiles that describe them.
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "common/json_reader.h"
#include "program.h"
#include "small_profile.h"
#include "support/named.h"
#include "tools/lifetime/gauge.h"
#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {
namespace {

constexpr int64_t HOUR_S = 3600;

class Usages : public test::ToolTest {
  protected:
    // From each change to the next, at both ends: "day 1, 12 to 13 h: 300 mA, 0 W, 22 degC". Day 1 is a Thursday.
    static std::string usages(const std::string& occasions, int days) {
        const Profile profile = small_profile(R"({"occasions": )" + occasions + "}");
        UsagePlan plan{.profile = profile, .seed = 1};
        const auto shown = [&](int64_t time_s) {
            const Usage usage = usage_at(plan, time_s, 50);
            std::ostringstream text;
            text << usage.load_ma << " mA, " << (usage.charger != nullptr ? usage.charger->watts : 0) << " W, "
                 << usage.ambient_c << " degC" << (usage.suspended ? ", suspended" : "");
            return text.str();
        };
        std::ostringstream text;
        for (int64_t start_s = 0, end_s = 0; start_s < days * SECONDS_PER_DAY; start_s = end_s) {
            const std::string usage = shown(start_s);
            end_s = next_change(plan, start_s);
            EXPECT_EQ(shown(end_s - 1), usage) << "up to the change at " << end_s;
            const int64_t day = start_s / SECONDS_PER_DAY, midnight_s = day * SECONDS_PER_DAY;
            text << "day " << day + 1 << ", " << double(start_s - midnight_s) / HOUR_S << " to "
                 << double(end_s - midnight_s) / HOUR_S << " h: " << usage << "\n";
        }
        return text.str();
    }
};

TEST_F(Usages, FollowTheOccasionsOfTheDay) {
    EXPECT_EQ(usages(R"([{"at": "10:00", "for_min": 60, "load_ma": 500, "days": "weekend"},
                         {"at": "12:00", "for_min": 60, "load_ma": 300, "days": "workdays"},
                         {"at": "14:00", "for_min": 60, "load_ma": 200}])",
                     7),
              expected("usage_week.txt"));
    // Each property comes from the last occasion that sets it; an occasion of chance 0 does not happen.
    EXPECT_EQ(usages(R"([{"at": "01:00", "for_min": 60, "load_ma": 500, "place": "outdoors"},
                         {"at": "01:30", "for_min": 60, "load_ma": 600},
                         {"at": "02:15", "for_min": 60, "suspended": true},
                         {"at": "02:45", "for_min": 60, "charger": "slow"},
                         {"at": "06:00", "for_min": 60, "load_ma": 900, "chance": 0}])",
                     1),
              expected("usage_overlap.txt"));
}

TEST(Usage, ChargesWhenTheBatteryIsLowUntilItIsCharged) {
    const Profile profile = small_profile(R"({"occasions": [
        {"at": "01:00", "for_min": 60, "charger": "fast", "below_percent": 50, "unplug_at_percent": 80}]})");
    const auto charges = [&](std::initializer_list<int> shown) {
        UsagePlan plan{.profile = profile, .seed = 1};
        int64_t time_s = HOUR_S;
        std::string result;
        for (const int percent : shown) {
            result += usage_at(plan, time_s, percent).charger == nullptr ? '-' : '+';
            time_s += 60;
        }
        return result;
    };
    EXPECT_EQ(charges({49, 60, 79, 80, 70}), "+++--");
    EXPECT_EQ(charges({50, 20}), "--") << "decided at its start";
}

// Once an hour, awake, below the limit; a phone that has run empty raises it, and half of that is forgotten in 30 days.
TEST(Usage, AUserWhoWatchesTheBatteryChargesWhenItIsLow) {
    const auto charging_hours = [](const char* worry, int percent, int64_t empty_before_days) {
        const Profile profile = small_profile(R"({"occasions": [], "worry": )" + std::string(worry) + "}");
        UsagePlan plan{.profile = profile, .seed = 1};
        int hours = 0;
        for (int64_t time_s = 40 * SECONDS_PER_DAY; time_s < 50 * SECONDS_PER_DAY; time_s += HOUR_S / 4) {
            if (time_s == 40 * SECONDS_PER_DAY && empty_before_days > 0) {
                note_empty(plan, time_s - empty_before_days * SECONDS_PER_DAY);
            }
            const bool charges = usage_at(plan, time_s, percent).charger != nullptr;
            const int64_t hour = time_s % SECONDS_PER_DAY / HOUR_S;
            hours += charges ? 1 : 0;
            EXPECT_TRUE(!charges || (hour >= 7 && hour < 23)) << hour;
        }
        return hours / 4;
    };
    const char* const sure = R"({"charger": "fast", "for_min": 60, "below_percent": 20, "chance": 1,
                                 "per_empty_percent": 16, "at_most_percent": 30})";
    EXPECT_EQ(charging_hours(sure, 19, 0), 160);
    EXPECT_EQ(charging_hours(sure, 20, 0), 0);
    EXPECT_EQ(charging_hours(sure, 25, 0), 0);
    EXPECT_GT(charging_hours(sure, 25, 20), 100) << "20 + 16 x 2^(-2/3)";
    EXPECT_EQ(charging_hours(sure, 28, 40), 0) << "20 + 16 x 2^(-4/3)";
    EXPECT_EQ(charging_hours(sure, 30, 1), 0) << "at most 30 %";
    EXPECT_NEAR(charging_hours(R"({"charger": "fast", "for_min": 60, "chance": 0.5})", 10, 0), 80, 20);
}

TEST(Usage, LoadsVaryByDayAndHavePeaks) {
    const Profile profile = small_profile(R"({"occasions": [{"at": "06:00", "for_min": 600, "load_ma": 400,
        "load_spread_percent": 50, "peak_ma": 3000, "peak_chance": 0.1}]})");
    UsagePlan plan{.profile = profile, .seed = 1};
    int peaks = 0;
    double low_ma = 400, high_ma = 400;
    for (int64_t minute = 0; minute < int64_t{100} * 24 * 60; minute++) {
        const int64_t hour = minute / 60 % 24;
        const double load_ma = usage_at(plan, minute * 60, 50).load_ma;
        if (hour < 6 || hour >= 16) {
            EXPECT_EQ(load_ma, 40);
        } else if (load_ma == 3000) {
            peaks++;
        } else {
            low_ma = std::min(low_ma, load_ma);
            high_ma = std::max(high_ma, load_ma);
        }
    }
    EXPECT_NEAR(peaks, 100 * 600 * 0.1, 400);
    EXPECT_NEAR(low_ma, 200, 10);
    EXPECT_NEAR(high_ma, 600, 10);
}

TEST(Usage, ChanceAndSpreadFollowTheSeed) {
    const Profile profile = small_profile(R"({"restarts_per_month": 15.21875, "crashes_per_year": 36.525, "occasions": [
        {"at": "12:00", "spread_min": 60, "for_min": 60, "load_ma": 500, "chance": 0.5}]})");
    struct Draws {
        std::vector<int64_t> starts{};
        int restarts = 0, crashes = 0;
    };
    const auto draw = [&](uint64_t seed) {
        UsagePlan plan{.profile = profile, .seed = seed};
        Draws draws;
        for (int64_t time_s = 0; time_s < 1000 * SECONDS_PER_DAY; time_s += HOUR_S) {
            (void)usage_at(plan, time_s, 50);
            for (const Visit& visit : plan.visits) {
                if (draws.starts.empty() || draws.starts.back() < visit.start_s) {
                    draws.starts.push_back(visit.start_s);
                }
            }
            if (const auto restart = take_restart(plan, time_s)) {
                (restart->is_crash ? draws.crashes : draws.restarts)++;
                EXPECT_GT(restart->at_s, time_s - HOUR_S);
                EXPECT_FALSE(take_restart(plan, time_s).has_value());
            }
        }
        return draws;
    };
    const Draws draws = draw(1);
    const auto count = static_cast<int64_t>(draws.starts.size());
    EXPECT_NEAR(static_cast<double>(count), 500, 50);
    EXPECT_NEAR(draws.restarts, 500, 50) << "on every other day";
    EXPECT_NEAR(draws.crashes, 100, 30) << "on every tenth day";
    int64_t sum = 0;
    for (const int64_t start : draws.starts) {
        const int64_t shift = start % SECONDS_PER_DAY - 12 * HOUR_S;
        EXPECT_LE(std::abs(shift), HOUR_S);
        sum += shift;
    }
    EXPECT_LT(std::abs(sum) / count, 300) << "as often before as after";
    EXPECT_EQ(draw(1).starts, draws.starts);
    EXPECT_NE(draw(2).starts, draws.starts);
}

// Mean 10 degC, 8 K by season, 4 K by the hour.
TEST(Usage, SeasonsHoursAndWeather) {
    for (const test::Row& row : test::values_of(TOOLS_TESTS "/seasons.csv")) {
        const Profile profile = small_profile(
            R"({"places": {"house": {"mean_c": 10, "season_c": 8, "day_c": 4}}, "start": ")" + row.at(1) + "\"}");
        UsagePlan plan{.profile = profile, .seed = 1};
        const double ambient_c = usage_at(plan, std::stoi(row.at(2)) * HOUR_S, 50).ambient_c;
        EXPECT_NEAR(ambient_c, test::number(row, 3), 0.2) << row.at(0);
    }
    const Profile profile = small_profile(R"({"places": {"house": {"mean_c": 10, "weather_c": 5}}})");
    UsagePlan plan{.profile = profile, .seed = 1};
    double low_c = 10;
    double high_c = 10;
    for (int64_t day = 0; day < 100; day++) {
        const double ambient_c = usage_at(plan, day * SECONDS_PER_DAY + HOUR_S, 50).ambient_c;
        low_c = std::min(low_c, ambient_c);
        high_c = std::max(high_c, ambient_c);
        EXPECT_EQ(usage_at(plan, day * SECONDS_PER_DAY + 2 * HOUR_S, 50).ambient_c, ambient_c) << "for a day";
    }
    EXPECT_NEAR(low_c, 5, 0.5);
    EXPECT_NEAR(high_c, 15, 0.5);
}

TEST(Gauge, LearnsTheCapacityFromLowToFull) {
    phone::Phone phone;
    phone.battery.state_of_health = 0.8;
    Gauge gauge{.random = {1}};
    const auto charge_from = [&](double soc) {
        for (const auto& [level, status] :
             {std::pair(soc, phone::ChargeStatus::CHARGING), std::pair(1.0, phone::ChargeStatus::FULL)}) {
            phone.battery.soc = level;
            phone.flow.status = status;
            follow_battery(gauge, {.learns_below_percent = 30, .error_percent = 1}, phone);
        }
        return phone.learning_count;
    };
    restart_gauge(gauge, phone);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    EXPECT_EQ(charge_from(0.30), 0);
    EXPECT_EQ(charge_from(0.29), 1);
    EXPECT_NEAR(phone.gauge_uah.value(), 4e6, 4e4);
    EXPECT_NE(phone.gauge_uah.value(), 4e6);
    EXPECT_EQ(charge_from(0.5), 1) << "the low charge has served once";
    restart_gauge(gauge, phone);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    EXPECT_EQ(phone.learning_count, 0);
    restore_capacity(phone, 0);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    restore_capacity(phone, 4100);
    EXPECT_EQ(phone.gauge_uah, 4.1e6);
}

class ProfileFile : public test::ToolTest {};

TEST_F(ProfileFile, EveryKeyReachesItsField) {
    const Profile profile = load_profile(TOOLS_TESTS "/every_key.json");
    const Worry& worry = *profile.worry;
    const GaugeModel& gauge = profile.gauge;
    const Place& house = profile.places.at(1);
    const ChargerKind &fast = profile.chargers.at(0), &slow = profile.chargers.at(1);
    const Occasion& occasion = profile.occasions.at(0);
    EXPECT_EQ(
        NAMED(profile.name, profile.about, profile.start_wall_s, profile.years, profile.cycle_s, profile.battery_model,
              profile.design_mah, profile.capacity_percent, profile.resistance_mohm, profile.soc_percent,
              profile.idle_ma, profile.suspended_ma, profile.home, profile.restarts_per_month,
              profile.crashes_per_year) +
            NAMED(profile.cell.name, worry.below_percent, worry.chance, worry.per_empty_percent, worry.at_most_percent,
                  *worry.charge.charger, worry.charge.for_s, worry.charge.unplug_at_percent, occasion.load_spread,
                  occasion.peak_ma, occasion.peak_chance, occasion.smart_stop_percent, gauge.learns_below_percent,
                  gauge.error_percent, house.name, house.mean_c, house.season_c, house.day_c, house.weather_c,
                  fast.watts, slow.name, slow.type, slow.watts, slow.source == phone::Source::WIRELESS) +
            NAMED(occasion.at_s, occasion.spread_s, occasion.for_s, occasion.days == Days::WEEKEND, occasion.chance,
                  *occasion.load_ma, *occasion.place, *occasion.charger, occasion.suspended, occasion.below_percent,
                  occasion.unplug_at_percent),
        expected("every_key.txt"));
    for (const auto& file : std::filesystem::directory_iterator(CELLWARDEN_PROFILE_DIR)) {  // the shipped ones
        EXPECT_FALSE(load_profile(file.path()).about.empty()) << file.path();
    }
}

void expect_mistake(const std::string& name, const nlohmann::json& document, const std::string& message) {
    try {
        (void)parse_profile(document.dump(), "small.json");
        ADD_FAILURE() << name << ": was accepted";
    } catch (const InputError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(message)) << name;
    }
}

TEST_F(ProfileFile, AMistakeIsNamedWithItsPlaceAndRange) {
    for (const test::Row& row : table("profile_mistakes.csv")) {
        expect_mistake(row.at(0), small_document(row.at(1)), row.at(2));
    }
    EXPECT_EQ(small_profile(R"({"start": "2017-01-01"})").start_wall_s, 1'483'228'800);
    EXPECT_EQ(small_profile(R"({"start": "2037-12-31"})").start_wall_s, 2'145'830'400);
    for (const test::Row& row : table("ranges.csv")) {
        nlohmann::json document = small_document();
        document[nlohmann::json::json_pointer(row.at(0))] = 1e9;
        expect_mistake(row.at(0), document, ": expected " + row.at(1));
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

// The parts of a simulated life: the user's days, the seasons, the fading of the battery, the learning of
// the gauge, and the keys of a profile.
#include <cmath>
#include <map>
#include <sstream>

#include "common/json_reader.h"
#include "program.h"
#include "support/rows.h"
#include "tools/lifetime/fade.h"
#include "tools/lifetime/gauge.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {
namespace {

constexpr int64_t HOUR_S = 3600;

// Returns a profile with one place, two chargers and the given occasions. 2026-01-01 is a Thursday.
Profile profile_of(const std::string& occasions, const std::string& patch = "{}") {
    auto document = nlohmann::json::parse(R"({"start": "2026-01-01", "home": "house", "idle_ma": 40,
        "suspended_ma": 8, "restarts_per_month": 0, "places": {"away": {"mean_c": 5}, "house": {"mean_c": 22}},
        "chargers": {"fast": {"usb": "PD", "watts": 30}, "slow": {"wireless": "BPP", "watts": 5}}})");
    document["occasions"] = nlohmann::json::parse(occasions);
    document.merge_patch(nlohmann::json::parse(patch));
    return parse_profile(document.dump(), "days.json");
}

TEST(Usage, WorkdaysAndTheWeekend) {
    const Profile profile = profile_of(R"([{"at": "10:00", "for_min": 60, "load_ma": 500, "days": "weekend"},
        {"at": "12:00", "for_min": 60, "load_ma": 300, "days": "workdays"},
        {"at": "14:00", "for_min": 60, "load_ma": 200}])");
    UsagePlan plan{.profile = profile, .seed = 1};
    const char* const names[] = {"Thursday", "Friday", "Saturday", "Sunday", "Monday", "Tuesday", "Wednesday"};
    for (int day = 0; day < 7; day++) {
        const bool weekend = day == 2 || day == 3;
        const int64_t midnight = day * SECONDS_PER_DAY;
        const double loads[] = {weekend ? 500.0 : 40, weekend ? 40.0 : 300, 200};
        for (int i = 0; i < 3; i++) {
            const int64_t start = midnight + (10 + 2 * i) * HOUR_S;
            EXPECT_EQ(usage_at(plan, start - 1, 50).load_ma, 40) << names[day];
            EXPECT_EQ(next_change(plan, start - 1), loads[i] == 40 ? midnight + (12 + 2 * i) * HOUR_S : start)
                << names[day];
            EXPECT_EQ(usage_at(plan, start, 50).load_ma, loads[i]) << names[day];
            EXPECT_EQ(usage_at(plan, start + HOUR_S - 1, 50).load_ma, loads[i]) << names[day];
        }
        EXPECT_EQ(usage_at(plan, midnight + 15 * HOUR_S, 50).load_ma, 40) << names[day];
        EXPECT_EQ(next_change(plan, midnight + 15 * HOUR_S), midnight + SECONDS_PER_DAY) << names[day];
    }
}

TEST(Usage, EachPropertyComesFromTheLastOccasionThatSetsIt) {
    const Profile profile = profile_of(R"([{"at": "01:00", "for_min": 60, "load_ma": 500, "place": "away"},
        {"at": "01:30", "for_min": 60, "load_ma": 600},
        {"at": "02:15", "for_min": 60, "suspended": true}, {"at": "02:45", "for_min": 60, "charger": "slow"},
        {"at": "06:00", "for_min": 60, "load_ma": 900, "chance": 0}])");
    UsagePlan plan{.profile = profile, .seed = 1};
    const struct {
        double hour, load_ma, ambient_c;
        bool suspended;
        double watts;
    } rows[] = {{0, 40, 22, false, 0}, {1.2, 500, 5, false, 0}, {1.7, 600, 5, false, 0}, {2.1, 600, 22, false, 0},
                {2.6, 8, 22, true, 0}, {3, 40, 22, false, 5},   {6.5, 40, 22, false, 0}};
    for (const auto& row : rows) {
        const Usage usage = usage_at(plan, std::lround(row.hour * HOUR_S), 50);
        EXPECT_EQ(usage.load_ma, row.load_ma) << row.hour;
        EXPECT_EQ(usage.ambient_c, row.ambient_c) << row.hour;
        EXPECT_EQ(usage.suspended, row.suspended) << row.hour;
        EXPECT_EQ(usage.charger == nullptr ? 0 : usage.charger->watts, row.watts) << row.hour;
    }
}

TEST(Usage, ChargesWhenTheBatteryIsLowUntilItIsCharged) {
    const Profile profile = profile_of(
        R"([{"at": "01:00", "for_min": 60, "charger": "fast", "below_percent": 50, "unplug_at_percent": 80}])");
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
    EXPECT_EQ(charges({50, 20}), "--") << "decided at the start of the occasion";
}

TEST(Usage, ChanceAndSpreadFollowTheSeed) {
    const Profile profile =
        profile_of(R"([{"at": "12:00", "spread_min": 60, "for_min": 60, "load_ma": 500, "chance": 0.5}])",
                   R"({"restarts_per_month": 15.21875, "crashes_per_year": 36.525})");
    const auto starts_of = [&](uint64_t seed) {
        UsagePlan plan{.profile = profile, .seed = seed};
        std::vector<int64_t> starts;
        for (int64_t day = 0; day < 1000; day++) {
            for (const int64_t hour : {0, 10, 11, 12, 13, 14}) {
                (void)usage_at(plan, day * SECONDS_PER_DAY + hour * HOUR_S, 50);
                for (const Visit& visit : plan.visits) {
                    if (starts.empty() || starts.back() < visit.start_s) {
                        starts.push_back(visit.start_s);
                    }
                }
            }
        }
        return starts;
    };
    const std::vector<int64_t> starts = starts_of(1);
    EXPECT_NEAR(static_cast<double>(starts.size()), 500, 50);
    int64_t sum = 0;
    for (const int64_t start : starts) {
        const int64_t shift = start % SECONDS_PER_DAY - 12 * HOUR_S;
        EXPECT_LE(std::abs(shift), HOUR_S);
        sum += shift;
    }
    EXPECT_LT(std::abs(sum) / static_cast<int64_t>(starts.size()), 300) << "as often before as after";
    EXPECT_EQ(starts_of(1), starts);
    EXPECT_NE(starts_of(2), starts);

    UsagePlan plan{.profile = profile, .seed = 1};
    int restarts[] = {0, 0};
    for (int64_t hour = 0; hour < 24'000; hour++) {
        (void)usage_at(plan, hour * HOUR_S, 50);
        if (const auto restart = take_restart(plan, hour * HOUR_S)) {
            restarts[restart->is_crash ? 1 : 0]++;
            EXPECT_GT(restart->at_s, (hour - 1) * HOUR_S);
            EXPECT_FALSE(take_restart(plan, hour * HOUR_S).has_value());
        }
    }
    EXPECT_NEAR(restarts[0], 500, 50) << "on every other day";
    EXPECT_NEAR(restarts[1], 100, 30) << "on every tenth day";
}

TEST(Usage, SeasonsAndHours) {
    const struct {
        const char* name;
        const char* start;
        int64_t hour;
        double wanted_c;
    } rows[] = {{"a July afternoon", "2026-07-20", 15, 10 + 8 + 4},
                {"a July night", "2026-07-20", 3, 10 + 8 - 4},
                {"a January afternoon", "2026-01-18", 15, 10 - 8 + 4},
                {"a January night", "2026-01-18", 3, 10 - 8 - 4},
                {"a spring morning", "2026-04-20", 9, 10},
                {"an autumn evening", "2026-10-19", 21, 10}};
    for (const auto& row : rows) {
        const Profile profile =
            profile_of("[]", R"({"places": {"house": {"mean_c": 10, "season_c": 8, "day_c": 4}}, "start": ")" +
                                 std::string(row.start) + "\"}");
        UsagePlan plan{.profile = profile, .seed = 1};
        EXPECT_NEAR(usage_at(plan, row.hour * HOUR_S, 50).ambient_c, row.wanted_c, 0.2) << row.name;
    }
    const Profile profile = profile_of("[]", R"({"places": {"house": {"mean_c": 10, "weather_c": 5}}})");
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

TEST(FadeModel, FollowsItsEquation) {
    constexpr double YEAR_S = 365.25 * 86'400;
    const struct {
        const char* name;
        double temp_c, voltage_v, charges, years, wanted_percent;
    } rows[] = {{"a year at 25 degC and 3.9 V", 25, 3.9, 0, 1, 2.5},
                {"four years: the square root of time", 25, 3.9, 0, 4, 5},
                {"12 K more halve the time", 37, 3.9, 0, 1, 2.5 * std::sqrt(2)},
                {"12 K less double the time", 13, 3.9, 0, 1, 2.5 / std::sqrt(2)},
                {"1 V more: exp(1.5) times the time", 25, 4.9, 0, 1, 2.5 * std::exp(0.75)},
                {"200 charges", 25, 3.9, 200, 0, 2}};
    for (const auto& row : rows) {
        Fade fade;
        advance_fade(fade, FadeModel{}, row.temp_c, row.voltage_v, row.charges, row.years * YEAR_S);
        EXPECT_NEAR(100 * (1 - state_of_health(fade)), row.wanted_percent, 1e-9) << row.name;
        EXPECT_NEAR(resistance_factor(fade, FadeModel{}), 1 + 0.03 * row.wanted_percent, 1e-9) << row.name;
    }
    Fade fade{.use_percent = 34.9};
    advance_fade(fade, FadeModel{}, 25, 3.9, 10, 0);
    EXPECT_NEAR(fade.use_percent, 35.0, 1e-9);
    fade.use_percent = 35.1;
    advance_fade(fade, FadeModel{}, 25, 3.9, 10, 0);
    EXPECT_NEAR(fade.use_percent, 35.4, 1e-9) << "three times as much below the knee";
    fade.use_percent = 99;
    EXPECT_EQ(state_of_health(fade), 0.1);
}

TEST(Gauge, LearnsTheCapacityFromLowToFull) {
    const GaugeModel model{.learns_below_percent = 30, .error_percent = 1};
    phone::Phone phone;
    phone.battery.state_of_health = 0.8;
    Gauge gauge{.random = {1}};
    const auto charge_from = [&](double soc) {
        phone.battery.soc = soc;
        phone.flow.status = phone::ChargeStatus::CHARGING;
        follow_battery(gauge, model, phone);
        phone.battery.soc = 1;
        phone.flow.status = phone::ChargeStatus::FULL;
        follow_battery(gauge, model, phone);
        return phone.learning_count;
    };
    restart_gauge(gauge, phone);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    EXPECT_EQ(charge_from(0.30), 0);
    EXPECT_EQ(charge_from(0.29), 1);
    EXPECT_NEAR(phone.gauge_uah.value(), 4e6, 4e4);
    EXPECT_NE(phone.gauge_uah.value(), 4e6);
    EXPECT_EQ(charge_from(0.5), 1) << "a low start teaches the capacity only once";
    restart_gauge(gauge, phone);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    EXPECT_EQ(phone.learning_count, 0);
    restore_capacity(phone, 0);
    EXPECT_EQ(phone.gauge_uah, 5e6);
    restore_capacity(phone, 4100);
    EXPECT_EQ(phone.gauge_uah, 4.1e6);
}

TEST(ProfileFile, EveryKeyReachesItsField) {
    const Profile profile =
        profile_of(R"([{"at": "07:30", "spread_min": 2, "for_min": 3, "load_ma": 4, "place": "house",
        "charger": "slow", "suspended": true, "below_percent": 5, "unplug_at_percent": 6, "chance": 0.7}])",
                   R"({"about": "x", "years": 8, "cycle_s": 9, "crashes_per_year": 10, "restarts_per_month": 11,
            "battery": {"design_mah": 1200, "resistance_mohm": 13, "soc_percent": 14},
            "fade": {"calendar_percent": 15, "doubling_k": 16, "per_volt": 1.7, "percent_per_100_charges": 18,
                     "knee_percent": 19, "resistance_growth": 20},
            "gauge": {"learns_below_percent": 21, "error_percent": 2.2},
            "places": {"house": {"mean_c": 23, "season_c": 24, "day_c": 25, "weather_c": 26}}})");
    const Occasion& occasion = profile.occasions.at(0);
    const Place& house = profile.places.at(1);
    const std::pair<double, double> numbers[] = {{occasion.at_s, 27'000},
                                                 {occasion.spread_s, 120},
                                                 {occasion.for_s, 180},
                                                 {*occasion.load_ma, 4},
                                                 {occasion.below_percent, 5},
                                                 {occasion.unplug_at_percent, 6},
                                                 {occasion.chance, 0.7},
                                                 {profile.years, 8},
                                                 {profile.cycle_s, 9},
                                                 {profile.crashes_per_year, 10},
                                                 {profile.restarts_per_month, 11},
                                                 {profile.design_mah, 1200},
                                                 {profile.resistance_mohm, 13},
                                                 {profile.soc_percent, 14},
                                                 {profile.fade.calendar_percent, 15},
                                                 {profile.fade.doubling_k, 16},
                                                 {profile.fade.per_volt, 1.7},
                                                 {profile.fade.percent_per_100_charges, 18},
                                                 {profile.fade.knee_percent, 19},
                                                 {profile.fade.resistance_growth, 20},
                                                 {profile.gauge.learns_below_percent, 21},
                                                 {profile.gauge.error_percent, 2.2},
                                                 {house.mean_c, 23},
                                                 {house.season_c, 24},
                                                 {house.day_c, 25},
                                                 {house.weather_c, 26},
                                                 {profile.idle_ma, 40},
                                                 {profile.suspended_ma, 8},
                                                 {occasion.suspended, 1},
                                                 {static_cast<double>(profile.start_wall_s), 1'767'225'600},
                                                 {static_cast<double>(*occasion.place), 1},
                                                 {static_cast<double>(*occasion.charger), 1},
                                                 {static_cast<double>(profile.home), 1},
                                                 {profile.chargers.at(0).watts, 30},
                                                 {profile.chargers.at(1).watts, 5},
                                                 {profile.chargers.at(1).source == phone::Source::WIRELESS, 1}};
    for (const auto& [found, wanted] : numbers) {
        EXPECT_EQ(found, wanted);
    }
    EXPECT_EQ(profile.about + profile.name + profile.battery_model + profile.chargers.at(1).type,
              "xdaysPELLAMIR_VOSKABPP");
}

TEST(ProfileFile, ErrorsNameTheRange) {
    for (const test::Row& row : test::values_of(TOOLS_TESTS "/ranges.csv")) {
        nlohmann::json document = nlohmann::json::parse(R"({"start": "2026-01-01", "home": "house",
            "places": {"house": {"mean_c": 22}}, "chargers": {"fast": {"usb": "PD", "watts": 30}},
            "occasions": [{"at": "07:00", "for_min": 5}]})");
        document[nlohmann::json::json_pointer(row.at(0))] = 1e9;
        try {
            (void)parse_profile(document.dump(), "x.json");
            ADD_FAILURE() << row.at(0) << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(": expected " + row.at(1))) << row.at(0);
        }
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

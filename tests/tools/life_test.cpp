// Whole lives: what a run leaves behind, what must hold on the way, and what is refused.
#include "tools/lifetime/life.h"

#include <cstring>
#include <sstream>

#include "common/json_reader.h"
#include "program.h"
#include "stats/batt_stat_update.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/run.h"
#include "tools/lifetime/run_directory.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

// A small profile with a JSON merge patch applied.
Profile small_profile(const std::string& patch) {
    nlohmann::json document = nlohmann::json::parse(R"({
        "start": "2026-01-01", "years": 0.01, "cycle_s": 300,
        "home": "house", "idle_ma": 40, "suspended_ma": 8, "restarts_per_month": 0,
        "places": {"house": {"mean_c": 22}, "outdoors": {"mean_c": 5}},
        "chargers": {"fast": {"usb": "PD", "watts": 30}, "slow": {"wireless": "BPP", "watts": 5}},
        "occasions": [
            {"at": "02:00", "for_min": 180, "suspended": true},
            {"at": "19:00", "spread_min": 45, "for_min": 120, "load_ma": 600, "chance": 0.7},
            {"at": "22:00", "for_min": 300, "charger": "fast"}
        ]})");
    document.merge_patch(nlohmann::json::parse(patch));
    return parse_profile(document.dump(), "small.json");
}

class LifeTest : public test::ToolTest {
  protected:
    void run_into(const char* name, uint64_t seed, const char* patch = "{}") const {
        const std::atomic<int> never = 0;
        EXPECT_EQ(run_profile(small_profile(patch), seed, top / name, never, [](const Life&) {}), Ending::COMPLETE);
    }
    Life& begin(const char* patch) {
        profile_ = small_profile(patch);
        return life_.emplace(begin_life(profile_, 1));
    }
    void live_until(int64_t time_s) {
        while (life_->time_s < time_s) {
            live_on(*life_);
        }
    }

  private:
    Profile profile_;
    std::optional<Life> life_;
};

TEST_F(LifeTest, TheSeedGivesEveryByteOfARun) {
    run_into("a", 7);
    run_into("b", 7);
    EXPECT_EQ(run("diff -r a b").output, "");
    run_into("b", 8);
    EXPECT_EQ(run("cmp -s a/units/2491 b/units/2491").exit_code, 1);
    run_into("b", 7);
    EXPECT_EQ(run("diff -r a b").output, "") << "into the directory of an earlier run";
}

TEST_F(LifeTest, SendsTheEventsAndWritesTheDays) {
    // Twelve days: one ten-day mark, and a charger each evening.
    run_into("a", 1, R"({"years": 0.033, "cycle_s": 600})");
    EXPECT_EQ(run("ls a/outbox | head -n 1; ls a/outbox | sed 's/.*-//' | sort | uniq -c; wc -l <a/series.csv; "
                  "grep -c 'Phone online time has reached 10 days' a/daemon.log")
                  .output,
              "20260102T030000Z-0001-charging-ChargerInsertionRemoval\n"
              "      1 BatteryDegradation2\n     12 ChargerInsertionRemoval\n13\n1\n");
}

TEST_F(LifeTest, RefusesADirectoryThatIsNoRun) {
    write("letter.txt", "dear");
    EXPECT_THROW(make_run_directory(top), std::runtime_error);
    EXPECT_TRUE(fs::exists(top / "letter.txt"));
    EXPECT_THROW(read_summary(top), std::runtime_error);
}

TEST_F(LifeTest, ARestartKeepsTheRecordAndACrashLosesADayAtMost) {
    Life& life = begin(R"({"gauge": {"learns_below_percent": 99}, "fade": {"calendar_percent": 40}})");
    live_until(SECONDS_PER_DAY);
    const int32_t before_restart = life.state.usage.online_time;
    const int32_t learned = life.state.health.latest_raw_soh;
    life.plan.restarts.push_back({life.time_s, false});
    live_on(life);
    EXPECT_EQ(life.restarts, 1U);
    EXPECT_EQ(life.state.usage.online_time, before_restart + 300 + 1) << "up to the shutdown, and between two cycles";
    EXPECT_EQ(life.state.clock.cycle_boot_time, 31);
    EXPECT_LT(learned, 99'000);
    EXPECT_NEAR(life.state.health.latest_raw_soh, learned, 20) << "not the design capacity of the first cycle";

    live_until(3 * SECONDS_PER_DAY);
    const int32_t before_crash = life.state.usage.online_time;
    life.plan.restarts.push_back({life.time_s, true});
    live_on(life);
    EXPECT_LT(life.state.usage.online_time, before_crash);
    EXPECT_GE(life.state.usage.online_time, before_crash - SECONDS_PER_DAY - 300);
}

TEST_F(LifeTest, AnEmptyPhoneIsOffUntilItIsCharged) {
    Life& life = begin(R"({"battery": {"soc_percent": 4}, "occasions": [
        {"at": "05:00", "for_min": 600, "load_ma": 800}, {"at": "20:00", "for_min": 300, "charger": "slow"}]})");
    live_until(12 * 3600);
    EXPECT_FALSE(life.is_on);
    live_until(20 * 3600 + 60);
    EXPECT_EQ(life.phone.shutdown_phase, 1) << "charging while off";
    live_until(21 * 3600);
    EXPECT_TRUE(life.is_on);
    EXPECT_EQ(life.phone.shutdown_phase, 3);
    EXPECT_EQ(life.stat.soc0_shutdown_cnt, 1U);
    EXPECT_GT(life.stat.off_charge_total_time, 0U);
}

// Across a ten-day mark, with a restart.
TEST_F(LifeTest, TheRecordHoldsWhatEncodingAllPeriodsWouldGive) {
    Life& life = begin(R"({"cycle_s": 1800})");
    life.plan.restarts.push_back({5 * SECONDS_PER_DAY, false});
    while (life.time_s < 11 * SECONDS_PER_DAY) {
        live_on(life);
        ServiceState state = life.state;
        state.ageing.changed_periods = ALL_PERIODS;
        BattStat whole = life.stat;
        copy_soft_charge_history(state, whole);
        ASSERT_EQ(memcmp(&whole, &life.stat, sizeof whole), 0) << life.time_s;
    }
    EXPECT_GT(life.stat.arrhenius_per_10days[1], 0U);
}

TEST(Comparison, ShowsBothValuesTheirDifferenceAndTheLevels) {
    const auto a = nlohmann::ordered_json::parse(R"({"figures": {"level": 2, "lost, %": 1.25, "only in a": 1},
        "levels": [{"online_days": 203.6, "level": 1}, {"online_days": 410.2, "level": 2}]})");
    const auto b = nlohmann::ordered_json::parse(R"({"figures": {"level": 2, "lost, %": 1.5},
        "levels": [{"online_days": 198.1, "level": 1}]})");
    std::ostringstream out;
    EXPECT_FALSE(print_comparison(out, a, b));
    for (const char* const line :
         {"level +2 +2 *\n", "lost, % +1.25 +1.5 +\\+0.25\n", "level change 1 +1 on day 203 +1 on day 198 *\n",
          "level change 2 +2 on day 410 +- *\n"}) {
        EXPECT_THAT(out.str(), testing::ContainsRegex(line));
    }
    EXPECT_TRUE(print_comparison(out, a, a));
}

TEST(Profile, AMistakeIsNamedWithItsPlace) {
    const struct {
        const char* name;
        const char* patch;  // of the small profile; null takes a key away
        const char* message;
    } rows[] = {
        {"no such day", R"({"start": "2026-13-01"})", "small.json: start: expected a date"},
        {"unknown key", R"({"color": 1})", "small.json: color: unknown key, expected one of: about"},
        {"no places", R"({"places": {"house": null, "outdoors": null}})", "places: expected an object of places"},
        {"a charger of both kinds", R"({"chargers": {"fast": {"wireless": "EPP"}}})",
         "chargers.fast: expected an object with watts and either usb or wireless"},
        {"an hour too late", R"({"occasions": [{"at": "24:00", "for_min": 5}]})",
         "occasions[0].at: expected a time of day such as \"07:30\", found \"24:00\""},
        {"an unknown charger", R"({"occasions": [{"at": "07:30", "for_min": 5, "charger": "x"}]})",
         "occasions[0].charger: expected one of: fast, slow, found \"x\""},
    };
    for (const auto& row : rows) {
        try {
            (void)small_profile(row.patch);
            ADD_FAILURE() << row.name << ": was taken";
        } catch (const bench::InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.message)) << row.name;
        }
    }
    for (const auto& file : fs::directory_iterator(CELLWARDEN_PROFILE_DIR)) {  // what ships is none
        EXPECT_FALSE(load_profile(file.path()).about.empty()) << file.path();
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

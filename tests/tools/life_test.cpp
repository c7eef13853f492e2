// Whole lives: what a run leaves behind, and what must hold on the way.
#include "tools/lifetime/life.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <map>

#include "stats/soft_charge_history.h"
#include "tools/lifetime/device.h"
#include "tools/lifetime/run.h"
#include "tools/lifetime/run_directory.h"
#include "tools/small_profile.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

class LifeTest : public testing::Test {
  protected:
    LifeTest() { fs::create_directory(folder); }
    ~LifeTest() override {
        device = Device{};
        fs::remove_all(folder);
    }

    const fs::path folder = fs::temp_directory_path() / ("lifetime_test-" + std::to_string(getpid()));
};

// Content of every file by its path in the directory.
std::map<std::string, std::string> files_of(const fs::path& directory) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            std::ifstream stream(entry.path(), std::ios::binary);
            files[fs::relative(entry.path(), directory)] = {std::istreambuf_iterator<char>(stream), {}};
        }
    }
    return files;
}

std::map<std::string, std::string> run_into(const fs::path& directory, uint64_t seed, const char* patch = "{}") {
    const volatile std::sig_atomic_t never = 0;
    EXPECT_EQ(run_profile(small_profile(patch), seed, directory, never, [](const Life&) {}), Ending::COMPLETE);
    return files_of(directory);
}

TEST_F(LifeTest, TheSeedGivesEveryByteOfARun) {
    const auto files = run_into(folder / "a", 7);
    EXPECT_EQ(files, run_into(folder / "b", 7));
    EXPECT_EQ(files, run_into(folder / "a", 7)) << "into the directory of an earlier run";
    EXPECT_NE(files.at("units/2491"), run_into(folder / "c", 8).at("units/2491"));
}

TEST_F(LifeTest, SendsTheEventsAndWritesTheDays) {
    // Twelve days: one ten-day mark, and a charger each evening.
    const auto files = run_into(folder / "a", 1, R"({"years": 0.033, "cycle_s": 600})");
    int ageing_events = 0;
    int charger_events = 0;
    for (const auto& [name, bytes] : files) {
        ageing_events += name.ends_with("-charging-BatteryDegradation2") ? 1 : 0;
        charger_events += name.ends_with("-charging-ChargerInsertionRemoval") ? 1 : 0;
    }
    EXPECT_EQ(ageing_events, 1);
    EXPECT_EQ(charger_events, 12);
    EXPECT_TRUE(files.contains("outbox/20260102T030000Z-0001-charging-ChargerInsertionRemoval"));
    const std::string& series = files.at("series.csv");
    EXPECT_EQ(std::count(series.begin(), series.end(), '\n'), 1 + 12);
    EXPECT_THAT(files.at("daemon.log"), testing::HasSubstr("Phone online time has reached 10 days"));
}

TEST_F(LifeTest, RefusesADirectoryThatIsNoRun) {
    std::ofstream(folder / "letter.txt") << "dear";
    EXPECT_THROW(make_run_directory(folder), std::runtime_error);
    EXPECT_TRUE(fs::exists(folder / "letter.txt"));
    EXPECT_THROW(read_summary(folder), std::runtime_error);
}

TEST_F(LifeTest, ARestartKeepsTheRecordAndACrashLosesADayAtMost) {
    const Profile profile = small_profile();
    Life life = begin_life(profile, 1);
    connect_device(life);
    const auto live_until = [&](int64_t time_s) {
        while (life.time_s < time_s) {
            live_on(life);
        }
    };
    live_until(SECONDS_PER_DAY);
    const int32_t before_restart = life.state.online_time;
    life.plan.restarts.push_back({life.time_s, false});
    live_on(life);
    EXPECT_EQ(life.restarts, 1U);
    EXPECT_EQ(life.state.online_time, before_restart + 300) << "up to the shutdown";
    EXPECT_EQ(life.state.cycle_boot_time, 30);

    live_until(3 * SECONDS_PER_DAY);
    const int32_t before_crash = life.state.online_time;
    life.plan.restarts.push_back({life.time_s, true});
    live_on(life);
    EXPECT_LT(life.state.online_time, before_crash);
    EXPECT_GE(life.state.online_time, before_crash - SECONDS_PER_DAY - 300);
}

TEST_F(LifeTest, AnEmptyPhoneIsOffUntilItIsCharged) {
    const Profile profile = small_profile(R"({"battery": {"soc_percent": 4}, "occasions": [
        {"at": "05:00", "for_min": 600, "load_ma": 800},
        {"at": "20:00", "for_min": 300, "charger": "slow"}]})");
    Life life = begin_life(profile, 1);
    connect_device(life);
    bool was_off_at_noon = false;
    bool charged_while_off = false;
    while (life.time_s < 21 * 3600) {
        live_on(life);
        was_off_at_noon |= life.time_s > 12 * 3600 && life.time_s < 20 * 3600 && !life.is_on;
        charged_while_off |= life.is_on && life.phone.shutdown_phase == 1;
    }
    EXPECT_TRUE(was_off_at_noon);
    EXPECT_TRUE(charged_while_off);
    EXPECT_TRUE(life.is_on);
    EXPECT_EQ(life.phone.shutdown_phase, 3);
    EXPECT_EQ(life.stat.soc0_shutdown_cnt, 1U);
    EXPECT_GT(life.stat.off_charge_total_time, 0U);
}

// Across a ten-day mark, with a restart.
TEST_F(LifeTest, TheRecordHoldsWhatEncodingAllPeriodsWouldGive) {
    const Profile profile = small_profile(R"({"cycle_s": 1800})");
    Life life = begin_life(profile, 1);
    connect_device(life);
    life.plan.restarts.push_back({5 * SECONDS_PER_DAY, false});
    while (life.time_s < 11 * SECONDS_PER_DAY) {
        live_on(life);
        ServiceState state = life.state;
        state.changed_periods = ALL_PERIODS;
        BattStat whole = life.stat;
        copy_soft_charge_history(state, whole);
        ASSERT_EQ(memcmp(&whole, &life.stat, sizeof whole), 0) << life.time_s;
    }
    EXPECT_GT(life.stat.arrhenius_per_10days[1], 0U);
}

}  // namespace
}  // namespace cellwarden::lifetime

// Whole lives: the output of a run, the conditions that hold throughout, and rejected input.
#include "tools/lifetime/life.h"

#include <cstring>
#include <map>
#include <sstream>

#include "common/json_reader.h"
#include "decode/record_layout.h"
#include "program.h"
#include "stats/batt_stat_update.h"
#include "support/rows.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/run.h"
#include "tools/lifetime/run_directory.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

// Returns a small profile with a JSON merge patch applied.
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
    // Returns every file of a directory by its relative path.
    [[nodiscard]] std::map<std::string, std::string> all_files(const char* name) const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(top / name)) {
            if (entry.is_regular_file()) {
                files[fs::relative(entry.path(), top / name)] = read(fs::relative(entry.path(), top));
            }
        }
        return files;
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

TEST_F(LifeTest, TheSeedDeterminesEveryByteOfARun) {
    run_into("a", 7);
    run_into("b", 7);
    const std::map<std::string, std::string> first = all_files("a");
    EXPECT_EQ(all_files("b"), first);
    run_into("b", 8);
    EXPECT_NE(read("b/units/2491"), read("a/units/2491"));
    run_into("b", 7);
    EXPECT_EQ(all_files("b"), first) << "in the directory of an earlier run";
}

TEST_F(LifeTest, SendsTheEventsAndWritesTheDays) {
    // Twelve days: one ten-day mark, and a charger each evening.
    run_into("a", 1, R"({"years": 0.033, "cycle_s": 600})");
    std::map<std::string, int> events;
    for (const fs::path& file : files_of(top / "a/outbox")) {
        const std::string name = file.filename();
        events[name.substr(name.rfind('-') + 1)]++;
    }
    EXPECT_EQ(events, (std::map<std::string, int>{{"BatteryDegradation2", 1}, {"ChargerInsertionRemoval", 12}}));
    EXPECT_EQ(files_of(top / "a/outbox").front().filename(), "20260102T030000Z-0001-charging-ChargerInsertionRemoval");
    EXPECT_EQ(test::rows_of(top / "a/series.csv", ',').size(), 13U) << "a line of column names, and a row for each day";
    const std::string log = read("a/daemon.log");
    const std::string mark = "Phone online time has reached 10 days";
    EXPECT_EQ(log.find(mark), log.rfind(mark));
    EXPECT_EQ(log.substr(log.rfind('\n', log.find(mark)) + 1, 13), "2026-01-11T00");
}

// The figures and the series of a run equal the stored record and the life itself.
TEST_F(LifeTest, FiguresAndColumnsAreThoseOfTheRecord) {
    const Profile profile = small_profile(R"({"years": 0.085, "cycle_s": 900, "restarts_per_month": 3,
        "battery": {"soc_percent": 20, "design_mah": 3000}, "fade": {"calendar_percent": 40},
        "gauge": {"learns_below_percent": 90}, "places": {"house": {"mean_c": 34, "day_c": 4}}, "occasions": [
            {"at": "02:00", "for_min": 180, "suspended": true},
            {"at": "08:00", "for_min": 300, "load_ma": 900, "place": "house"},
            {"at": "21:00", "for_min": 300, "charger": "fast"}]})");
    double true_percent = 0;
    double lived_days = 0;
    const std::atomic<int> never = 0;
    (void)run_profile(profile, 3, top / "a", never, [&](const Life& life) {
        true_percent = 100 * life.phone.battery.state_of_health;
        lived_days = static_cast<double>(life.time_s) / 86'400;
    });
    BattStat stat;
    const std::string record = read("a/units/2491");
    ASSERT_EQ(record.size(), sizeof stat);
    memcpy(&stat, record.data(), sizeof stat);
    const auto summary = nlohmann::ordered_json::parse(read("a/run.json"));
    const auto figure = [&](const std::string& name) { return summary.at("figures").at(name).get<double>(); };
    const auto rows = test::rows_of(top / "a/series.csv", ',');
    // The last row shows the day before its midnight, so it lags by a day at most.
    const auto cell = [&](const std::string& column) {
        const auto at = std::find(rows.front().begin(), rows.front().end(), column) - rows.front().begin();
        return std::stod(rows.back().at(static_cast<size_t>(at)));
    };
    for (const test::Row& row : test::values_of(TOOLS_TESTS "/figures.csv")) {
        const auto stored = static_cast<double>(decode::stored_value(stat, *decode::find_record_field(row.at(1)), 0));
        EXPECT_NEAR(figure(row.at(0)), stored / test::number(row, 2), 0.003) << row.at(0);
        if (row.size() > 3) {
            EXPECT_NEAR(cell(row.at(3)), figure(row.at(0)), test::number(row, 4)) << row.at(3);
        }
    }
    uint32_t attachments = 0;
    for (const DevAttachEntry& entry : stat.dev_attach) {
        attachments += entry.dev_attach_count;
    }
    const size_t period = stat.online_time / 864'000;
    const struct {
        const char* figure;
        double wanted;
        const char* column;
        double growth;
    } others[] = {{"days lived", lived_days, nullptr, 0},
                  {"charger attachments", static_cast<double>(attachments), nullptr, 0},
                  {"events sent", static_cast<double>(files_of(top / "a/outbox").size()), nullptr, 0},
                  {"level by throughput", 0, "level_by_throughput", 0},
                  {"level by Arrhenius", double(stat.arrhenius_lv.at(period)), "level_by_arrhenius", 0},
                  {"level by full stay", double(stat.full_stay_capacity_degradation_aging_lv.at(period)),
                   "level_by_full_stay", 0},
                  {"state of health, true, %", true_percent, "true_soh", 0.5},
                  {nullptr, 30, "temp_min_c", 1},
                  {nullptr, 36, "temp_mean_c", 2},
                  {nullptr, 44, "temp_max_c", 3},
                  {nullptr, 4.46, "voltage_max_v", 0.03}};
    for (const auto& row : others) {
        if (row.figure != nullptr) {
            EXPECT_NEAR(figure(row.figure), row.wanted, 0.003) << row.figure;
        }
        if (row.column != nullptr) {
            EXPECT_NEAR(cell(row.column), row.wanted, row.growth + 0.003) << row.column;
        }
    }
    EXPECT_GT(figure("restarts"), 0);
    EXPECT_EQ(summary.at("profile"), "small");
    EXPECT_EQ(summary.at("seed"), 3);
    EXPECT_TRUE(summary.at("complete").get<bool>());
    ASSERT_FALSE(summary.at("levels").empty());
    EXPECT_EQ(summary.at("levels").back().at("level"), stat.soft_charge_mode);
    EXPECT_EQ(rows.back().front(), "2026-02-01");
}

TEST_F(LifeTest, RejectsADirectoryWithoutARun) {
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
    EXPECT_EQ(life.state.usage.online_time, before_restart + 300 + 1)
        << "up to the shutdown, plus the time between two cycles";
    EXPECT_EQ(life.state.clock.cycle_boot_time, 31);
    EXPECT_LT(learned, 99'000);
    EXPECT_NEAR(life.state.health.latest_raw_soh, learned, 20)
        << "from the restored capacity, not the design capacity of the first cycle";

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
TEST_F(LifeTest, TheRecordEqualsAnEncodingOfAllPeriods) {
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

TEST(Profile, ErrorsNameTheirPosition) {
    const struct {
        const char* name;
        const char* patch;  // applied to the small profile; null removes a key
        const char* message;
    } rows[] = {
        {"impossible date", R"({"start": "2026-13-01"})", "small.json: start: expected a date"},
        {"unknown key", R"({"color": 1})", "small.json: color: unknown key, expected one of: about"},
        {"no places", R"({"places": {"house": null, "outdoors": null}})", "places: expected an object of places"},
        {"a charger of both kinds", R"({"chargers": {"fast": {"wireless": "EPP"}}})",
         "chargers.fast: expected an object with watts and either usb or wireless"},
        {"24:00 is not a time of day", R"({"occasions": [{"at": "24:00", "for_min": 5}]})",
         "occasions[0].at: expected a time of day such as \"07:30\", found \"24:00\""},
        {"an unknown charger", R"({"occasions": [{"at": "07:30", "for_min": 5, "charger": "x"}]})",
         "occasions[0].charger: expected one of: fast, slow, found \"x\""}};
    for (const auto& row : rows) {
        try {
            (void)small_profile(row.patch);
            ADD_FAILURE() << row.name << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.message)) << row.name;
        }
    }
    for (const auto& file : fs::directory_iterator(CELLWARDEN_PROFILE_DIR)) {  // the shipped profiles have no error
        EXPECT_FALSE(load_profile(file.path()).about.empty()) << file.path();
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

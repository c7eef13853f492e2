// Whole lives: what a run leaves behind, what must hold on the way, and what is refused.
#include "tools/lifetime/life.h"

#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "common/input.h"
#include "decode/record_layout.h"
#include "product/phone.h"
#include "program.h"
#include "small_profile.h"
#include "stats/batt_stat_update.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/past.h"
#include "tools/lifetime/run.h"
#include "tools/lifetime/run_directory.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

class LifeTest : public test::ToolTest {
  protected:
    void run_into(
        const char* name, uint64_t seed, const std::string& patch = "{}",
        const Watch& watch = [](const Life&) {}) const {
        const std::atomic<int> never = 0;
        EXPECT_EQ(run_job({small_profile(patch), {}, seed, top / name}, never, watch), Ending::COMPLETE);
    }
    Life& begin(const char* patch) {
        profile_ = small_profile(patch);
        return life_.emplace(begin_life(profile_, policy_, 1));
    }
    void live_until(int64_t time_s) {
        while (life_->time_s < time_s) {
            live_on(*life_);
        }
    }

    // The sources of these tests have no unusable event.
    static void no_events(const std::string& text) { ADD_FAILURE() << text; }

  private:
    Profile profile_;
    CarePolicy policy_;
    std::optional<Life> life_;
};

TEST_F(LifeTest, TheSeedGivesEveryByteOfARun) {
    run_into("a", 7);
    run_into("b", 7);
    EXPECT_EQ(run("diff -r a b").output, "");
    run_into("b", 8);
    EXPECT_NE(read("b/units/2491"), read("a/units/2491"));
    run_into("b", 7);
    EXPECT_EQ(run("diff -r a b").output, "") << "into the directory of an earlier run";
}

TEST_F(LifeTest, SendsTheEventsAndWritesTheDays) {
    // Twelve days: one ten-day mark, and a charger each evening.
    run_into("a", 1, R"({"years": 0.033, "cycle_s": 600})");
    EXPECT_EQ(run("ls a/outbox | sed 's/.*-//' | sort | uniq -c | tr -s ' '").output,
              " 1 BatteryDegradation2\n 12 ChargerInsertionRemoval\n");
    EXPECT_EQ(run("ls a/outbox | head -n 1").output, "20260102T030000Z-0001-charging-ChargerInsertionRemoval\n");
    EXPECT_EQ(test::rows_of(top / "a/series.csv", ',').size(), 13U)
        << "the names of the columns, and a row for each day";
    const std::string log = read("a/daemon.log");
    const std::string mark = "Phone online time has reached 10 days";
    EXPECT_EQ(log.find(mark), log.rfind(mark));
    EXPECT_EQ(log.substr(log.rfind('\n', log.find(mark)) + 1, 13), "2026-01-11T00");
}

// The figures and the series of a run against the stored record and the life itself.
TEST_F(LifeTest, FiguresAndColumnsAreThoseOfTheRecord) {
    double true_percent = 0;
    double lived_days = 0;
    run_into("a", 3, expected("warm_month.json"), [&](const Life& life) {
        true_percent = 100 * life.phone.battery.state_of_health;
        lived_days = static_cast<double>(life.time_s) / 86'400;
    });
    BattStat stat;
    const std::string record = read("a/units/2491");
    ASSERT_EQ(record.size(), sizeof stat);
    memcpy(&stat, record.data(), sizeof stat);
    double attachments = 0;
    for (const DevAttachEntry& entry : stat.dev_attach) {
        attachments += entry.dev_attach_count;
    }
    const size_t period = stat.online_time / 864'000;
    const auto events = static_cast<double>(files_of(top / "a/outbox").size());
    struct Wanted {
        std::string figure;
        double value;
        std::string column{};
        double growth = 0;  // the last row shows the day before its midnight, so it lags by a day at most
    };
    std::vector<Wanted> all = {
        {"days lived", lived_days},
        {"charger attachments", attachments},
        {"events sent", events},
        {"level by Arrhenius", double(stat.arrhenius_lv.at(period)), "level_by_arrhenius"},
        {"level by full stay", double(stat.full_stay_capacity_degradation_aging_lv.at(period)), "level_by_full_stay"},
        {"state of health, true, %", true_percent, "true_soh", 0.5}};
    for (const test::Row& row : table("figures.csv")) {
        const decode::RecordField* const field = decode::find_record_field(row.at(1));
        const double value = field != nullptr ? double(decode::stored_value(stat, *field, 0)) : test::number(row, 1);
        all.push_back({row.at(0), value / test::number(row, 2)});
        if (row.size() > 3) {
            all.back().column = row.at(3);
            all.back().growth = test::number(row, 4);
        }
    }
    const auto summary = nlohmann::ordered_json::parse(read("a/run.json"));
    const auto& figures = summary.at("figures");
    const auto series = test::rows_of(top / "a/series.csv", ',');
    for (const Wanted& wanted : all) {
        if (!wanted.figure.empty()) {
            EXPECT_NEAR(figures.at(wanted.figure).get<double>(), wanted.value, 0.003) << wanted.figure;
        }
        if (!wanted.column.empty()) {
            const auto at = std::find(series.front().begin(), series.front().end(), wanted.column);
            ASSERT_NE(at, series.front().end()) << wanted.column;
            const double cell = std::stod(series.back().at(static_cast<size_t>(at - series.front().begin())));
            EXPECT_NEAR(cell, wanted.value, wanted.growth + 0.003) << wanted.column;
        }
    }
    EXPECT_GT(figures.at("restarts"), 0);
    EXPECT_EQ(summary.at("profile"), "small");
    EXPECT_EQ(summary.at("seed"), 3);
    EXPECT_TRUE(summary.at("complete").get<bool>());
    ASSERT_FALSE(summary.at("levels").empty());
    EXPECT_EQ(summary.at("levels").back().at("level"), stat.soft_charge_mode);
    EXPECT_EQ(series.back().front(), "2026-02-01");
}

// A true loss that the daemon's models describe is what the daemon predicts.
TEST_F(LifeTest, TheDaemonPredictsTheCellThatAgesAsItBelieves) {
    Life& life = begin(R"({"cell": "as-believed", "cycle_s": 60, "places": {"house": {"mean_c": 34}},
                           "gauge": {"error_percent": 0}})");
    live_until(60 * SECONDS_PER_DAY);
    EXPECT_LT(life.cell.soh, 0.99);
    EXPECT_NEAR(life.state.health.latest_predicted_soh / 1e3, 100 * life.cell.soh, 0.02);
}

TEST_F(LifeTest, SmartChargingAndEmptyPhonesReachTheRecord) {
    Life& life = begin(R"({"battery": {"soc_percent": 70}, "occasions": [
        {"at": "01:00", "for_min": 300, "charger": "fast", "smart_stop_percent": 80},
        {"at": "06:00", "for_min": 60, "charger": "fast"}, {"at": "08:00", "for_min": 900, "load_ma": 900}],
        "worry": {"charger": "fast", "for_min": 1, "below_percent": 1, "chance": 0}})");
    live_until(6 * 3600);
    EXPECT_NEAR(life.phone.battery.soc, 0.8, 0.02);
    live_until(7 * 3600);
    EXPECT_GT(life.phone.battery.soc, 0.95);
    live_until(20 * 3600);
    EXPECT_EQ(life.stat.smart_charge_mode_total_time, 5U * 3600);
    EXPECT_FALSE(life.is_on);
    EXPECT_GT(life.plan.raised_percent, 0);
}

TEST_F(LifeTest, RefusesADirectoryThatIsNoRun) {
    write("letter.txt", "dear");
    EXPECT_THROW(make_run_directory(top), std::runtime_error);
    EXPECT_TRUE(fs::exists(top / "letter.txt"));
    EXPECT_THROW(read_summary(top), std::runtime_error);
}

TEST_F(LifeTest, ARestartKeepsTheRecordAndACrashLosesADayAtMost) {
    Life& life = begin(R"({"gauge": {"learns_below_percent": 99}, "cell": "quick.json"})");
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

// A phone that goes on from its record is the phone of the record, and ages from there: it ends where one long life
// ends, within 8 % of the loss in the first part. With all of that loss on the cycling terms it would end 10 % off
// (phone) or 60 % (quick). The gauge here learns without error; the bins of a record are 5 K and up to 100 mV wide.
TEST_F(LifeTest, ALifeGoesOnFromItsRecord) {
    for (const char* const cell : {"phone", "quick.json"}) {
        const std::string patch = R"({"cycle_s": 600, "gauge": {"learns_below_percent": 99, "error_percent": 0},
            "cell": ")" + std::string(cell) +
                                  "\"}";
        Life& whole = begin(patch.c_str());
        live_until(60 * SECONDS_PER_DAY);
        const BattStat before = whole.stat;
        const double soh = whole.cell.soh;
        write("units/2491", bytes_of(before));
        write("units/2319", "\x07");
        write("units/2803", bytes_of(int32_t{1'700'000'000}));
        live_until(120 * SECONDS_PER_DAY);

        const Past past = load_past(top, {}, no_events);
        const Profile profile = profile_of(small_profile(patch), past);
        EXPECT_EQ(profile.start_wall_s, small_profile().start_wall_s + 60 * SECONDS_PER_DAY);
        Life life = begin_life(profile, whole.policy, 2, &past);
        EXPECT_NEAR(life.cell.soh, soh, 0.0003) << cell;
        live_on(life);
        EXPECT_EQ(life.stat.soft_charge_mode, before.soft_charge_mode);
        EXPECT_EQ(life.stat.total_cycle_count, before.total_cycle_count);
        EXPECT_EQ(life.stat.ct_charge_table, before.ct_charge_table);
        EXPECT_EQ(life.stat.online_time, before.online_time + 1) << "between the first two cycles";
        EXPECT_NEAR(life.stat.latest_user_soh, before.latest_user_soh, 1);
        EXPECT_EQ(life.state.heat.usb_connector_heat_count, 7);
        EXPECT_EQ(life.device.units.at(UNIT_FIRST_USAGE_DATE), bytes_of(int32_t{1'700'000'000}));
        live_on(life);
        EXPECT_EQ(life.stat.fcc_mah[0], before.fcc_mah[0]);
        EXPECT_NEAR(life.stat.latest_filtered_soh, before.latest_filtered_soh, 10) << "the capacity is handed over";
        while (life.time_s < 60 * SECONDS_PER_DAY) {
            live_on(life);
        }
        EXPECT_NEAR(100 * life.cell.soh, 100 * whole.cell.soh, 100 * (1 - soh) * 0.08) << cell;
        EXPECT_NEAR(life.stat.total_cycle_count, whole.stat.total_cycle_count, 0.05 * whole.stat.total_cycle_count);
    }
}

// An ageing event holds the record, but for the fields that it names as missing; of a stream, the newest event of the
// phone counts.
TEST_F(LifeTest, AnEventGoesOnAsItsRecord) {
    Life& life = begin(R"({"cycle_s": 600})");
    BattStat record;
    std::ofstream stream(top / "stream");
    life.watch_effect = [&](const Life& lived, const Effect& effect) {
        if (effect.name == "BatteryDegradation2") {
            record = lived.stat;
            decode::PhoneEvent sent{.place = "",
                                    .phone = "a",
                                    .time_s = wall_s(lived),
                                    .packed = {effect.bytes.begin(), effect.bytes.end()},
                                    .event = {}};
            sent.event.name = effect.name;
            decode::write_event(stream, sent);
            sent.phone = "b";
            decode::write_event(stream, sent);
        }
    };
    live_until(21 * SECONDS_PER_DAY);
    stream.close();
    EXPECT_THROW((void)load_past(top / "stream", {}, no_events), InputError) << "two phones";
    const Past past = load_past(top / "stream", {"b"}, no_events);
    EXPECT_EQ(profile_of(small_profile(), past).start_wall_s, life.profile.start_wall_s + 20 * SECONDS_PER_DAY);
    EXPECT_THAT(past.missing, testing::Contains("fcc_mah_raw"));
    for (const decode::RecordField& field : decode::record_fields()) {
        if (std::find(past.missing.begin(), past.missing.end(), field.name) == past.missing.end()) {
            for (size_t i = 0; i < field.count; i++) {
                EXPECT_EQ(decode::stored_value(past.stat, field, i), decode::stored_value(record, field, i))
                    << field.name << " " << i;
            }
        }
    }
    EXPECT_EQ(record.online_time / PERIOD_S, 2U) << "the newest";
}

// What the record says about the battery against what the profile says.
TEST_F(LifeTest, TheRecordDecidesAboutTheBattery) {
    for (const test::Row& row : table("pasts.csv")) {
        Past past{};
        reset_batt_stat(past.stat);
        test::apply_changes(past.stat, row.at(1));
        const Profile profile = profile_of(small_profile(), past);
        Cell cell = aged_cell(profile, past.stat, POLICY.bins);
        advance_cell(cell, {.seconds = 0,
                            .temp_c = 25,
                            .soc_before = 0.5,
                            .soc = 0.5,
                            .open_circuit_v = 3.8,
                            .terminal_v = 3.8,
                            .charger_v = 4.4});
        EXPECT_NEAR(profile.design_mah, test::number(row, 2), 0.5) << row.at(0);
        EXPECT_NEAR(cell.soh * profile.capacity_percent, test::number(row, 3), 0.01) << row.at(0);
        EXPECT_NEAR(cell.capacity.front().lost_percent, test::number(row, 4), 0.01) << row.at(0);
    }
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

TEST_F(LifeTest, ComparisonShowsBothValuesTheirDifferenceAndTheLevels) {
    const auto both = nlohmann::ordered_json::parse(expected("compared.json"));
    std::ostringstream out;
    EXPECT_FALSE(print_comparison(out, both.at(0), both.at(1)));
    for (const char* const line :
         {"level +2 +2 *\n", "lost, % +1.25 +1.5 +\\+0.25\n", "level change 1 +1 on day 203 +1 on day 198 *\n",
          "level change 2 +2 on day 410 +- *\n"}) {
        EXPECT_THAT(out.str(), testing::ContainsRegex(line));
    }
    EXPECT_TRUE(print_comparison(out, both.at(0), both.at(0)));
}

}  // namespace
}  // namespace cellwarden::lifetime

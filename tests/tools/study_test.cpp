// Studies: their phones, the outcomes of lives, what survives an interruption, and the summary.
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

#include "common/json_reader.h"
#include "program.h"
#include "small_profile.h"
#include "tools/lifetime/outcomes.h"
#include "tools/lifetime/study_directory.h"
#include "tools/lifetime/study_file.h"
#include "tools/lifetime/study_summary.h"

namespace cellwarden::lifetime {
namespace {

class StudyTest : public test::ToolTest {
  protected:
    Study study(const std::string& patch = "{}") const {
        write("small.json", small_document().dump());
        write("warm.json", small_document(R"({"places": {"house": {"mean_c": 35}}})").dump());
        write("gentle.json", R"({"driver": {"float_voltage_mv": [4400, 4400, 4400, 4400, 4400, 4400]}})");
        nlohmann::json document = nlohmann::json::parse(expected("small_study.json"));
        document.merge_patch(nlohmann::json::parse(patch));
        write("study.json", document.dump());
        return load_study(top / "study.json");
    }
    // The lines of a life with the same value in all columns, in each year.
    static std::string lines_of(const Study& study, int phone, size_t policy, double value) {
        Outcomes outcomes{.ends = year_ends(study.years), .reference_load_ma = 1};
        outcomes.rows.resize(outcomes.ends.size());
        for (OutcomeRow& row : outcomes.rows) {
            row.fill(value);
        }
        return outcome_lines(phone, "small", study.policies.at(policy).name, outcomes);
    }
};

TEST_F(StudyTest, DrawsFollowTheirDistributions) {
    const struct {
        const char* name;
        Distribution distribution;
        double mean, sd;
    } rows[] = {
        {"uniform", {Shape::UNIFORM, 0, 0, 2, 6}, 4, 4 / std::sqrt(12.0)},
        {"normal", {Shape::NORMAL, 3, 2, -20, 20}, 3, 2},
        {"half of a normal", {Shape::NORMAL, 0, 1, 0, 20}, 0.798, 0.603},
        {"lognormal", {Shape::LOGNORMAL, 1, 0.5, 0.001, 50}, 1.133, 0.604},
        {"fixed", {Shape::NORMAL, 3, 0, 3, 3}, 3, 0},
    };
    for (const auto& row : rows) {
        Random random{7};
        constexpr int COUNT = 20'000;
        double sum = 0, squares = 0;
        for (int i = 0; i < COUNT; i++) {
            const double value = draw(row.distribution, random);
            EXPECT_GE(value, row.distribution.from) << row.name;
            EXPECT_LE(value, row.distribution.to) << row.name;
            sum += value;
            squares += value * value;
        }
        EXPECT_NEAR(sum / COUNT, row.mean, 0.03) << row.name;
        EXPECT_NEAR(std::sqrt(std::max(0.0, squares / COUNT - sum * sum / COUNT / COUNT)), row.sd, 0.03) << row.name;
    }
}

TEST_F(StudyTest, APhoneDependsOnSeedAndNumberAlone) {
    const Study few = study(), many = study(R"({"phones": 4000, "policies": ["no-care"], "varies": {"ageing_factor":
        {"shape": "uniform", "from": 0.5, "to": 2}}})"),
                other = study(R"({"seed": 6})");
    int warm = 0;
    for (int number = 1; number <= 4000; number++) {
        const StudyPhone phone = phone_of(many, number);
        warm += phone.profile.name == "warm" ? 1 : 0;
        if (number <= 4) {
            const StudyPhone same = phone_of(few, number);
            EXPECT_EQ(same.seed, phone.seed);
            EXPECT_EQ(same.profile.name, phone.profile.name);
            EXPECT_EQ(same.traits, std::vector(phone.traits.begin() + 1, phone.traits.end())) << "in the order of keys";
            EXPECT_NE(phone_of(other, number).seed, phone.seed);
            EXPECT_NE(phone_of(other, number).traits, same.traits);
        }
    }
    EXPECT_NEAR(warm, 1000, 100) << "a quarter of the weights";
    EXPECT_NE(provenance_of(few).at("digest"), provenance_of(other).at("digest"));
    write("gentle.json", R"({"driver": {"float_voltage_mv": [4400, 4400, 4400, 4400, 4400, 4390]}})");
    EXPECT_NE(provenance_of(load_study(top / "study.json")).at("digest"), provenance_of(few).at("digest"));
}

TEST_F(StudyTest, EachTraitChangesWhatItNames) {
    const Profile plain = small_profile();
    static const std::vector<AgeingTerm> phone_cell = load_cell(cell_file("phone", "")).capacity;
    const struct {
        const char* trait;
        double value;
        std::function<double(const Profile&)> property;
        double expected;
    } rows[] = {
        {"load_factor", 2, [](const Profile& p) { return *p.occasions[1].load_ma; }, 1200},
        {"load_factor", 2, [](const Profile& p) { return p.idle_ma; }, 80},
        {"load_factor", 0.5, [](const Profile& p) { return p.suspended_ma; }, 4},
        {"shift_h", 3, [](const Profile& p) { return p.occasions[2].at_s / 3600.0; }, 1},
        {"shift_h", -2.5, [](const Profile& p) { return p.occasions[0].at_s / 3600.0; }, 23.5},
        {"charger_factor", 0.5, [](const Profile& p) { return p.chargers[0].watts; }, 15},
        {"charging_chance_factor", 0.6, [](const Profile& p) { return p.occasions[2].chance; }, 0.6},
        {"charging_chance_factor", 2, [](const Profile& p) { return p.occasions[2].chance; }, 1},
        {"charging_chance_factor", 0.5, [](const Profile& p) { return p.occasions[1].chance; }, 0.7},
        {"climate_c", -4, [](const Profile& p) { return p.places[1].mean_c; }, 1},
        {"capacity_percent", 97, [](const Profile& p) { return p.capacity_percent; }, 97},
        {"resistance_factor", 1.5, [](const Profile& p) { return p.resistance_mohm; }, 90},
        {"ageing_factor", 2, [](const Profile& p) { return p.cell.capacity.at(0).percent / phone_cell.at(0).percent; },
         2},
        {"ageing_factor", 2, [](const Profile& p) { return p.cell.capacity.at(2).percent / phone_cell.at(2).percent; },
         2},
        {"gauge_error_percent", 3, [](const Profile& p) { return p.gauge.error_percent; }, 3},
    };
    for (const auto& row : rows) {
        const std::string value = std::to_string(row.value);
        const Study one = study(std::string(R"({"profiles": {"warm.json": null}, "varies": {"load_factor": null,
            "climate_c": null, ")") +
                                row.trait + R"(": {"shape": "uniform", "median": null, "sigma": null, "mean": null,
            "sd": null, "from": )" +
                                value + R"(, "to": )" + value + "}}}");
        EXPECT_NEAR(row.property(phone_of(one, 1).profile), row.expected, 1e-9) << row.trait << " " << row.value;
    }
}

TEST_F(StudyTest, AMistakeIsNamedWithItsPlace) {
    for (const test::Row& row : table("study_mistakes.csv")) {
        try {
            (void)study(row.at(1));
            ADD_FAILURE() << row.at(0) << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.at(2))) << row.at(0);
        }
    }
    for (const auto& file : std::filesystem::directory_iterator(CELLWARDEN_STUDY_DIR)) {
        EXPECT_FALSE(load_study(file.path()).about.empty()) << file.path();
    }
}

// A capacity of 98 % at first; level 1 from the first full charge on, at 4.2 V and half the current.
TEST_F(StudyTest, OutcomesAreThoseOfTheLife) {
    const Profile profile =
        small_profile(R"({"years": 0.08, "cell": "textbook", "battery": {"capacity_percent": 98}, "occasions": [
        {"at": "06:00", "for_min": 840, "load_ma": 500}, {"at": "22:00", "for_min": 300, "charger": "fast"}]})");
    const CarePolicy policy = parse_policy(R"({"cycle_count_borders": [10000, 2000000, 4000000, 11000000, 13000000],
        "driver": {"float_voltage_mv": [4480, 4200, 4200, 4200, 4200, 4200], "current_share": [1, 0.5, 0.5, 0.5, 0.5, 0.5]
        }})",
                                           "p.json");
    Life life = begin_life(profile, policy, 1);
    Outcomes outcomes{.ends = {0.04, 0.08}, .reference_load_ma = 250};
    double first_level_s = 0;
    while (outcomes.rows.size() < 2) {
        live_on(life);
        note_step(outcomes, life);
        first_level_s = life.state.levels.soft_charge_mode == 0 ? static_cast<double>(life.time_s) : first_level_s;
    }
    ASSERT_GT(first_level_s, 0);
    const OutcomeRow& first = outcomes.rows[0];
    const OutcomeRow& last = outcomes.rows[1];
    EXPECT_EQ(last[TRUE_SOH], 100 * life.phone.battery.state_of_health);
    EXPECT_LT(first[TRUE_SOH], 98);
    EXPECT_NEAR(last[CAPACITY_MAH], 50 * last[TRUE_SOH], 1e-6);
    // 4.2 V less 0.05C times the resistance is 15 mV below the open-circuit voltage at 80 %.
    EXPECT_NEAR(last[FULL_CHARGE_MAH] / last[CAPACITY_MAH], 0.8 - 0.1 * 15 / 120, 5e-4);
    EXPECT_NEAR(last[WITHHELD_PERCENT], 21.25, 0.05);
    EXPECT_LT(first[WITHHELD_PERCENT], 21);
    EXPECT_NEAR(last[USE_HOURS], last[FULL_CHARGE_MAH] / 250, 1e-9);
    EXPECT_NEAR(last[CHARGE_MINUTES], 0.6 * last[FULL_CHARGE_MAH] / (0.45 * 5000) * 60, 0.2);
    EXPECT_NEAR(charge_minutes(life.phone, 0), 0.6 * 0.9964 * last[CAPACITY_MAH] / 4500 * 60, 0.2);
    EXPECT_NEAR(last[PREDICTED_MINUS_TRUE], life.state.health.latest_predicted_soh / 1e3 - last[TRUE_SOH], 1e-9);
    EXPECT_EQ(first[TIMES_EMPTY] + last[TIMES_EMPTY], 29) << "on each of 29 days the load needs 7,000 mAh";
    EXPECT_NEAR(first[LEVEL_ROSE_DAY], first_level_s / 86'400, 0.05);
    EXPECT_NEAR(first[LEVEL_0_DAYS], first[LEVEL_ROSE_DAY], 0.05);
    double all_days = 0;
    for (const OutcomeRow& row : outcomes.rows) {
        for (int level = 0; level <= MAX_LEVEL; level++) {
            all_days += row[LEVEL_0_DAYS + static_cast<size_t>(level)];
        }
    }
    EXPECT_NEAR(all_days, static_cast<double>(life.time_s) / 86'400, 1e-9) << "each second has a level";
    EXPECT_EQ(year_ends(2.5), (std::vector<double>{1, 2, 2.5}));
    EXPECT_EQ(year_ends(3), (std::vector<double>{1, 2, 3}));
}

TEST_F(StudyTest, AJournalCutAnywhereKeepsTheCompleteLives) {
    const Study one = study(R"({"years": 1.5})");
    const std::string life = lines_of(one, 3, 1, 7), two = life + lines_of(one, 1, 0, EMPTY);
    const std::string lives = two + lines_of(one, 3, 0, 1);
    for (size_t size = 0; size <= lives.size(); size++) {
        write("lives.csv", lives.substr(0, size));
        const Journal journal(one, top);
        ASSERT_EQ(journal.has_life(3, 1), size >= life.size()) << size;
        ASSERT_EQ(journal.has_life(1, 0), size >= two.size()) << size;
        ASSERT_EQ(journal.has_life(3, 0), size == lives.size()) << size;
        ASSERT_EQ(journal.life_count(), int{size >= life.size()} + int{size >= two.size()} + int{size == lives.size()})
            << size;
    }
    std::string spoiled = lives;
    spoiled[life.size() + 8] = 'X';  // a policy that the study does not have
    write("lives.csv", spoiled);
    Journal journal(one, top);
    EXPECT_EQ(read("lives.csv"), life) << "and continues there";
    EXPECT_THROW(Journal(one, top), std::runtime_error) << "while another process writes";
    journal.append(lines_of(one, 2, 0, 1));
    EXPECT_EQ(read("lives.csv"), life + lines_of(one, 2, 0, 1));
}

TEST_F(StudyTest, AFullDiskLosesTheLifeInProgressOnly) {
    const Study one = study();
    Journal journal(one, top);
    const std::string life = lines_of(one, 1, 0, 1);
    journal.append(life);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{life.size() + 10, before.rlim_max};
    (void)signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_THROW(journal.append(lines_of(one, 2, 0, 1)), std::runtime_error);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(read("lives.csv"), life);
    journal.append(life);
    EXPECT_EQ(read("lives.csv"), life + life);
}

TEST_F(StudyTest, ADirectoryHasOneStudy) {
    const Study one = study(), other = study(R"({"seed": 6})");
    prepare_study_directory(one, top / "out", false);
    write("out/lives.csv", lines_of(one, 1, 0, 1));
    prepare_study_directory(one, top / "out", false);
    EXPECT_THROW(prepare_study_directory(other, top / "out", false), std::runtime_error);
    EXPECT_NE(read("out/lives.csv"), "");
    prepare_study_directory(other, top / "out", true);
    EXPECT_EQ(read("out/lives.csv"), "");
    EXPECT_THROW(prepare_study_directory(one, top, true), std::runtime_error) << "not a study's";
    EXPECT_TRUE(std::filesystem::exists(top / "small.json"));
}

// Two shards, one of them twice; phone 4's values are missing at first.
TEST_F(StudyTest, SummaryFollowsFromTheOutcomes) {
    const Study one = study(R"({"years": 3})");
    for (const char* const part : {"a", "b"}) {
        prepare_study_directory(one, top / part, false);
    }
    const double values[4][2] = {{81, 85}, {79, 79}, {90, 96}, {80, 84}};
    std::string odd, even;
    for (int phone = 4; phone >= 1; phone--) {
        for (const size_t policy : {1U, 0U}) {
            (phone % 2 == 1 ? odd : even) +=
                lines_of(one, phone, policy, values[static_cast<size_t>(phone - 1)][policy]);
        }
    }
    write("a/lives.csv", odd);
    write("b/lives.csv", lines_of(one, 2, 0, 79) + lines_of(one, 2, 1, 79));
    try {
        write_outcomes(one, {top / "a", top / "b"}, top / "a");
        ADD_FAILURE() << "with lives missing";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("2 lives are missing, the first is phone 4 under shipped"));
    }
    write("b/lives.csv", even);
    write_outcomes(one, {top / "a", top / "b", top / "a"}, top / "a");
    const auto rows = test::rows_of(top / "a/outcomes.csv", ',');
    ASSERT_EQ(rows.size(), 25U);
    EXPECT_EQ(rows.at(1).at(0) + rows.at(1).at(2) + rows.at(1).at(3), "1shipped1");
    EXPECT_EQ(rows.at(24).at(0) + rows.at(24).at(2) + rows.at(24).at(3), "4gentle3");

    const nlohmann::json summary = summary_of(one, top / "a");
    const auto find = [&](const char* list, const nlohmann::json& wanted) {
        for (const auto& row : summary.at(list)) {
            nlohmann::json merged = row;
            merged.update(wanted);
            if (merged == row) {
                return row;
            }
        }
        return nlohmann::json();
    };
    EXPECT_EQ(
        find("quantiles", {{"policy", "gentle"}, {"column", "use_hours"}, {"year", 2}, {"p50", 84.5}}).value("p5", 0.),
        79.75);
    const nlohmann::json gain =
        find("gained_and_withheld", {{"policy", "gentle"}, {"against", "shipped"}, {"year", 3}});
    EXPECT_EQ(gain.at("gained_percent").at("mean"), 3.5);
    EXPECT_EQ(gain.at("withheld_percent").at("mean"), 3.5);
    const nlohmann::json paired = find("differences", {{"column", "charge_minutes"}, {"year", 1}, {"phones", 4}});
    EXPECT_EQ(paired.at("mean"), 3.5);
    EXPECT_GT(paired.at("low"), 0.9);
    EXPECT_LT(paired.at("high"), 5.6);
    EXPECT_EQ(find("above_80", {{"policy", "shipped"}, {"year", 3}}).at("share"), 0.5);
    EXPECT_EQ(summary.at("above_80").size(), 2U);
    EXPECT_EQ(summary.at("lose_most").at(0).at("phones").at(0).at("phone"), 2);
    EXPECT_EQ(summary.at("lose_most").at(0).at("phones").at(0).at("traits").size(), 2U);
}

TEST_F(StudyTest, QuantilesAndIntervals) {
    EXPECT_EQ(quantile({5}, 0.05), 5);
    EXPECT_EQ(quantile({1, 2, 3, 4, 5}, 0.5), 3);
    EXPECT_NEAR(quantile({0, 10}, 0.95), 9.5, 1e-12);
    EXPECT_TRUE(std::isnan(quantile({}, 0.5)));
    std::vector<double> values;
    Random random{3};
    for (int i = 0; i < 400; i++) {
        values.push_back(draw({Shape::NORMAL, 2, 1, -10, 10}, random));
    }
    const MeanInterval estimate = estimate_mean(values, 1);
    EXPECT_NEAR(estimate.mean, 2, 0.15);
    EXPECT_NEAR(estimate.high - estimate.low, 2 * 1.96 / 20, 0.02) << "of a mean of 400 values";
    EXPECT_NEAR((estimate.high + estimate.low) / 2, estimate.mean, 0.02);
    const MeanInterval same = estimate_mean({4, 4, 4}, 1);
    EXPECT_EQ(same.low, 4);
    EXPECT_EQ(same.high, 4);
}

}  // namespace
}  // namespace cellwarden::lifetime

// Policies as files: their figures, what is refused, and what they change in a life.
#include "policies/policy_file.h"

#include <nlohmann/json.hpp>
#include <tuple>

#include "common/json_reader.h"
#include "program.h"
#include "small_profile.h"
#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

class PolicyFile : public test::ToolTest {};

// Extended figures that are equal have the same bits, because none is 0 or not a number.
auto figures_of(const Policy& p) {
    const auto& [activation_k, knee_uv, low_offset, low_slope, high_offset, high_slope, offset, numerator] =
        p.arrhenius;
    return std::tuple_cat(
        std::tie(activation_k, knee_uv, low_offset, low_slope, high_offset, high_slope, offset, numerator),
        std::tie(p.full_stay.voltage_slope, p.full_stay.activation_k, p.full_stay.offset, p.charge_cycle.voltage_slope,
                 p.charge_cycle.activation_k, p.charge_cycle.offset, p.cycle_count_borders, p.arrhenius_raise_from,
                 p.arrhenius_lower_below, p.capacity_kept_percent, p.rise_from_percent, p.top_rising_level,
                 p.smoothing_from_cycle_count, p.level_factors, p.step_factor, p.step_factor_low, p.low_soh_percent,
                 p.bins.voltage_uv, p.bins.temperature_decic, p.bins.soc));
}
auto figures_of(const phone::DriverSteps& d) {
    return std::tie(d.fast_charge_c_rate, d.float_voltage_mv, d.current_share, d.zone_below_c, d.zone_current_share,
                    d.zone_voltage_drop_mv);
}

// The shipped file has every figure as a decimal text.
TEST_F(PolicyFile, TheShippedOneHasTheBitsOfTheDaemonsConstants) {
    const CarePolicy shipped = load_policy(CELLWARDEN_POLICY_DIR "/shipped.json");
    EXPECT_TRUE(figures_of(shipped.rules) == figures_of(POLICY));
    EXPECT_TRUE(figures_of(shipped.driver) == figures_of(phone::DriverSteps{}));
    EXPECT_EQ(nlohmann::json(policy_json(shipped)),
              nlohmann::json::parse(test::text_of_file(CELLWARDEN_POLICY_DIR "/shipped.json")))
        << "the file has all figures";
    const Policy decimals =
        parse_policy(R"({"step_factor": 0.123456789012345, "full_stay": {"offset": -3.5e1}})", "p").rules;
    EXPECT_TRUE(decimals.step_factor == extended{123456789012345} / 1'000'000'000'000'000);
    EXPECT_TRUE(decimals.full_stay.offset == -35);
    for (const auto& file : std::filesystem::directory_iterator(CELLWARDEN_POLICY_DIR)) {
        if (file.path().extension() == ".json") {
            EXPECT_FALSE(load_policy(file.path()).about.empty()) << file.path();
        }
    }
}

TEST_F(PolicyFile, AChangedFigureIsTheOnlyOneThatChanges) {
    const nlohmann::json shipped = policy_json({}), flat = shipped.flatten();
    for (const auto& item : flat.items()) {
        if (!item.value().is_number()) {
            continue;
        }
        const bool is_share = item.key().find("share") != std::string::npos;
        nlohmann::json changed = shipped;
        nlohmann::json& figure = changed[nlohmann::json::json_pointer(item.key())];
        figure = item.value().is_number_integer() ? nlohmann::json(item.value().get<int>() - 1)
                 : is_share || item.value() == 1  ? nlohmann::json(0.995)
                 : item.value() == 0              ? nlohmann::json(0.25)
                                                  : nlohmann::json(item.value().get<double>() * 1.001);
        const nlohmann::json got = policy_json(parse_policy(changed.dump(), "p.json"));
        EXPECT_EQ(got, changed) << item.key();
    }
}

TEST_F(PolicyFile, AMistakeIsNamedWithItsPlace) {
    for (const test::Row& row : table("policy_mistakes.csv")) {
        try {
            (void)parse_policy(row.at(1), "p.json");
            ADD_FAILURE() << row.at(0) << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.at(2))) << row.at(0);
        }
    }
}

// 22 days; the changed policy raises the level at the first full charge and then charges to 4.2 V.
TEST_F(PolicyFile, ALifeFollowsItsPolicy) {
    const std::atomic<int> never = 0;
    const auto live = [&](const char* name, const CarePolicy& policy) {
        const Profile profile = small_profile(R"({"years": 0.06})");
        (void)run_job({profile, policy, 1, top / name}, never, [](const Life&) {});
    };
    live("none", {});
    live("shipped", load_policy(CELLWARDEN_POLICY_DIR "/shipped.json"));
    EXPECT_EQ(run("diff -r -x run.json none shipped").output, "");
    const CarePolicy early = parse_policy(R"({"cycle_count_borders": [10000, 2000000, 4000000, 11000000, 13000000],
        "driver": {"float_voltage_mv": [4480, 4200, 4200, 4200, 4200, 4200]}})",
                                          "early.json");
    live("early", early);
    const auto series = test::rows_of(top / "early/series.csv", ',');
    EXPECT_EQ(series.at(1).at(2), "0");
    EXPECT_GT(std::stod(series.at(1).back()), 4.4);
    EXPECT_EQ(series.back().at(2), "1");
    EXPECT_NEAR(std::stod(series.back().back()), 4.2, 0.005);
    const auto summary = nlohmann::json::parse(read("early/run.json"));
    EXPECT_EQ(summary.at("policy").at("figures"), nlohmann::json(policy_json(early)));
    EXPECT_EQ(summary.at("years_asked"), 0.06);
    EXPECT_NEAR(summary.at("years_lived").get<double>(), 0.06, 1e-3);
}

}  // namespace
}  // namespace cellwarden::lifetime

// cellwarden-lifetime as users run it.
#include "program.h"

#ifdef LIFETIME

namespace {

using namespace cellwarden;
using testing::HasSubstr;
using LifetimeTest = test::ToolTest;

TEST_F(LifetimeTest, ListsRunsAndCompares) {
    EXPECT_THAT(run(LIFETIME " list").output, HasSubstr("\novernight    An office worker whose phone is on the"));
    const auto lived = run(LIFETIME " run spare gaming --years 0.003 --seed 5 --jobs 2 --out runs");
    EXPECT_EQ(lived.exit_code, 0) << lived.output;
    for (const char* const part : {"Seed 5, ", "gaming: 0.00 years, ", "; runs/spare\n"}) {
        EXPECT_THAT(lived.output, HasSubstr(part));
    }
    EXPECT_EQ(run(LIFETIME " compare runs/spare runs/spare").exit_code, 0);
    const auto compared = run(LIFETIME " compare runs/spare runs/gaming");
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_THAT(compared.output, HasSubstr("A = runs/spare: spare, seed 5\nB = runs/gaming: gaming, seed 5\n"));
    expect_refusals("lifetime", LIFETIME);
}

// A fitted cell is ready to run, and a run says what was outside its data.
TEST_F(LifetimeTest, FitsACellThatRuns) {
    const auto fitted = run(LIFETIME " fit --calendar " LIFETIME_TABLES "/calendar.csv --cycling " LIFETIME_TABLES
                                     "/cycling.csv --out fitted");
    EXPECT_EQ(fitted.exit_code, 0) << fitted.output;
    for (const char* const part : {"calendar: 96 measurements, ", "  activation_k ", "warning: full_stay: its form"}) {
        EXPECT_THAT(fitted.output, HasSubstr(part));
    }
    EXPECT_THAT(read("fitted/policy.txt"), HasSubstr(".full_stay ="));
    auto profile = test::text_of_file(LIFETIME_PROFILES "/northern.json");
    const std::string key = R"("cell": "phone")";
    profile.replace(profile.find(key), key.size(), R"("cell": "fitted/cell.json")");
    write("user.json", profile);
    const auto lived = run(LIFETIME " run user.json --years 0.02 --out runs");
    EXPECT_THAT(lived.output, HasSubstr("user: outside the ranges of cell cell: "));
    EXPECT_THAT(read("runs/user/run.json"), HasSubstr("\"quantity\": \"temperature_c\""));
}

}  // namespace

#endif

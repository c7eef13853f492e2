// cellwarden-lifetime as users run it.
#include "program.h"

#ifdef LIFETIME

namespace {

using namespace cellwarden;
using testing::HasSubstr;
using LifetimeTest = test::ToolTest;

TEST_F(LifetimeTest, ListsRunsAndCompares) {
    EXPECT_THAT(run(LIFETIME " list").output, HasSubstr("\novernight    An office worker whose phone is on the"));
    EXPECT_EQ(run(LIFETIME " list | sed '/^$/,$d' >names; LC_ALL=C sort -c names").output, "") << "in order";
    const auto lived = run(LIFETIME " run spare gaming --years 0.003 --seed 5 --jobs 2 --out runs");
    EXPECT_EQ(lived.exit_code, 0) << lived.output;
    for (const char* const part : {"Seed 5, policy shipped, ", "gaming: 0.00 years, ", "; runs/spare\n"}) {
        EXPECT_THAT(lived.output, HasSubstr(part));
    }
    EXPECT_EQ(run(LIFETIME " compare runs/spare runs/spare").exit_code, 0);
    const auto compared = run(LIFETIME " compare runs/spare runs/gaming");
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_THAT(
        compared.output,
        HasSubstr("A = runs/spare: spare, policy shipped, seed 5\nB = runs/gaming: gaming, policy shipped, seed 5\n"));
    EXPECT_THAT(compared.output, HasSubstr("Not comparable: profile: \"spare\" and \"gaming\"\n"));
    const std::string again = LIFETIME " run spare --years 0.003 --policy no-care --out runs ";
    EXPECT_THAT(run(again).output, HasSubstr("runs/spare: has the results of an earlier run; --overwrite"));
    EXPECT_THAT(run(again + "--overwrite").output, HasSubstr("Seed 1, policy no-care, "));
    write("mine.json", run(LIFETIME " policy no-care").output);
    EXPECT_EQ(run(LIFETIME " policy ./mine.json | diff - mine.json").output, "");
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

// The worked study of docs/lifetime.md in small: at once, interrupted, in two shards, and one of its phones.
TEST_F(LifetimeTest, AStudyGivesTheSameBytesInAnyOrder) {
    const std::string study = LIFETIME " study level-3 --phones 3 --years 0.01 --jobs 2 ";
    const auto whole = run(study + "--events --out whole");
    EXPECT_EQ(whole.exit_code, 0) << whole.output;
    for (const char* const part : {"6 of 6 lives finished\n", "true_soh_percent, up-to-level-2  ",
                                   "shipped against up-to-level-2: gained ", "Lose most under shipped"}) {
        EXPECT_THAT(whole.output, HasSubstr(part));
    }
    EXPECT_EQ(run("cp -r whole cut && head -c 300 whole/lives.csv > cut/lives.csv && rm cut/outcomes.csv").exit_code,
              0);
    EXPECT_EQ(run(study + "--out cut").exit_code, 0);
    EXPECT_EQ(run("cmp -n 150 whole/lives.csv cut/lives.csv").output, "") << "the finished life was kept";
    for (const char* const shard : {"1", "2"}) {
        const auto part = run(study + "--out part" + shard + " --shard " + shard + "/2");
        EXPECT_THAT(part.output, HasSubstr(*shard == '1' ? "4 of 4 lives" : "2 of 2 lives"));
    }
    EXPECT_THAT(run(study + "--out merged --merge part1").output,
                HasSubstr("2 lives are missing, the first is phone 2"));
    EXPECT_EQ(run(study + "--out merged --merge part1 part2").exit_code, 0);
    for (const char* const file : {"outcomes.csv", "phones.csv", "summary.json", "study.json"}) {
        EXPECT_EQ(run(std::string("for i in cut merged; do cmp whole/") + file + " $i/" + file + "; done").output, "");
    }
    EXPECT_THAT(run(LIFETIME " study level-3 --phones 3 --years 0.02 --out whole").output,
                HasSubstr("whole: has the results of another study or program"));
    const auto changed = run(study + "--out changed --policies no-care shipped --cell textbook");
    EXPECT_THAT(changed.output, HasSubstr("shipped against no-care: gained "));
    EXPECT_THAT(read("changed/study.json"),
                testing::AllOf(HasSubstr("\"cell\": \"textbook\""), Not(HasSubstr("\"phone\""))));
    EXPECT_THAT(run(study + "--policies shipped shipped").output, HasSubstr("--policies shipped: expected names"));
    EXPECT_EQ(run(study + "--phone 2 --out two").exit_code, 0);
    const auto compared = run(LIFETIME " compare two/up-to-level-2 two/shipped");
    EXPECT_THAT(compared.output, Not(HasSubstr("Not comparable")));
    EXPECT_THAT(compared.output, HasSubstr("A = two/up-to-level-2: "));

    // The events of this phone as one stream and as files.
    const auto lines =
        run(INSPECT " event --json-lines whole/events/2-shipped.pb | sed 's/\"file\":\"[^\"]*\",//'").output;
    EXPECT_EQ(lines, run(INSPECT " event --json-lines two/shipped/outbox | sed 's/\"file\":\"[^\"]*\",//; "
                                 "s/\"phone\":\"[^\"]*\"/\"phone\":\"2\"/'")
                         .output);
    EXPECT_THAT(lines, HasSubstr("{\"phone\":\"2\",\"time\":\"2026-01-01T"));
}

}  // namespace

#endif

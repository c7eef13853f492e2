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
    EXPECT_THAT(lived.output, HasSubstr("Seed 5, "));
    EXPECT_THAT(lived.output, HasSubstr("gaming: 0.00 years, "));
    EXPECT_THAT(lived.output, HasSubstr("; runs/spare\n"));
    EXPECT_EQ(run(LIFETIME " compare runs/spare runs/spare").exit_code, 0);
    const auto compared = run(LIFETIME " compare runs/spare runs/gaming");
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_THAT(compared.output, HasSubstr("A = runs/spare: spare, seed 5\nB = runs/gaming: gaming, seed 5\n"));
    const struct {
        const char* arguments;
        const char* message;
    } rows[] = {{"run nobody", "profile 'nobody' does not exist"},
                {"run ./nobody.json", "nobody.json: No such file"},
                {"run spare spare", "another profile of this run has the same directory"},
                {"compare runs absent", "run.json: cannot be read"}};
    for (const auto& row : rows) {
        const auto refused = run(LIFETIME + std::string(" ") + row.arguments);
        EXPECT_EQ(refused.exit_code, 2) << row.arguments;
        EXPECT_THAT(refused.output, HasSubstr(row.message)) << row.arguments;
    }
}

}  // namespace

#endif

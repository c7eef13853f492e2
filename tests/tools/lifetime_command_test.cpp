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
    for (const char* const part : {"Seed 5, policy shipped, ", "gaming: 0.00 years, ", "; runs/spare\n"}) {
        EXPECT_THAT(lived.output, HasSubstr(part));
    }
    EXPECT_EQ(run(LIFETIME " compare runs/spare runs/spare").exit_code, 0);
    const auto compared = run(LIFETIME " compare runs/spare runs/gaming");
    EXPECT_EQ(compared.exit_code, 1);
    EXPECT_THAT(
        compared.output,
        HasSubstr("A = runs/spare: spare, policy shipped, seed 5\nB = runs/gaming: gaming, policy shipped, seed 5\n"));
    expect_refusals("lifetime", LIFETIME);
}

}  // namespace

#endif

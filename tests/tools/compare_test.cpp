// Two runs side by side.
#include <gmock/gmock.h>

#include <sstream>

#include "tools/lifetime/figures.h"

namespace cellwarden::lifetime {
namespace {

using nlohmann::ordered_json;
using testing::ContainsRegex;

TEST(Comparison, ShowsBothValuesTheirDifferenceAndTheLevels) {
    const auto a = ordered_json::parse(
        R"({"figures": {"level": 2, "lost, %": 1.25, "only in a": 1},
            "levels": [{"online_days": 203.6, "level": 1}, {"online_days": 410.2, "level": 2}]})");
    const auto b = ordered_json::parse(
        R"({"figures": {"level": 2, "lost, %": 1.5},
            "levels": [{"online_days": 198.1, "level": 1}]})");
    std::ostringstream out;
    EXPECT_FALSE(print_comparison(out, a, b));
    EXPECT_THAT(out.str(), ContainsRegex("level +2 +2 *\n"));
    EXPECT_THAT(out.str(), ContainsRegex("lost, % +1.25 +1.5 +\\+0.25\n"));
    EXPECT_THAT(out.str(), ContainsRegex("level change 1 +1 on day 203 +1 on day 198 *\n"));
    EXPECT_THAT(out.str(), ContainsRegex("level change 2 +2 on day 410 +- *\n"));
    EXPECT_THAT(out.str(), testing::Not(testing::HasSubstr("only in a")));
    EXPECT_TRUE(print_comparison(out, a, a));
}

}  // namespace
}  // namespace cellwarden::lifetime

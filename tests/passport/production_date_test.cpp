#include "passport/production_date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <tuple>

namespace cellwarden {
namespace {

TEST(ProductionDate, Seconds) {
    constexpr std::optional<int32_t> NONE;
    const std::tuple<const char*, std::string, std::optional<int32_t>> rows[] = {
        {"29 February", "240229", 1'709'164'800},
        {"carried over into March", "250229", 1'740'787'200},
        {"day 32", "250132", NONE},
        {"the last day of 31 bits", "380119", 2'147'472'000},
        {"the low 32 bits of later days", "380120", -2'147'408'896},
        {"a letter in the day", "2504x1", NONE},
        {"a letter behind one digit", "25041x", 1'743'465'600},
        {"a NUL", std::string("2504\0001", 6), NONE},
        {"a negative month", "25-101", NONE},
        {"a negative year", "-10101", 915'148'800},
        {"blanks for zeros", " 2 5 4", 1'020'470'400},
    };
    setenv("TZ", "AHEAD-9", 1);  // dates are in UTC wherever the phone is
    tzset();
    for (const auto& [name, text, seconds] : rows) {
        char date[PRODUCTION_DATE_SIZE + 1] = {};
        std::copy(text.begin(), text.end(), date);
        EXPECT_EQ(production_date_seconds(date), seconds) << name;
    }
}

}  // namespace
}  // namespace cellwarden

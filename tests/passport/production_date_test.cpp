#include "passport/production_date.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace cellwarden {
namespace {

TEST(ProductionDate, Seconds) {
    constexpr std::optional<int32_t> NONE;
    const struct {
        const char* name;
        std::string date;
        std::optional<int32_t> seconds;
    } rows[] = {
        {"an ordinary day", "250401", 1'743'465'600},
        {"the first", "000101", 946'684'800},
        {"the last of a year", "251231", 1'767'139'200},
        {"29 February", "240229", 1'709'164'800},
        {"carried over into March", "250229", 1'740'787'200},
        {"carried over into May", "250431", 1'746'057'600},
        {"day 32", "250132", NONE},
        {"day 0", "250100", NONE},
        {"month 13", "251301", NONE},
        {"month 0", "250001", NONE},
        {"the last day of 31 bits", "380119", 2'147'472'000},
        {"the low 32 bits of later days", "380120", -2'147'408'896},
        {"the last of all", "991231", -192'608'896},
        {"letters", "abcdef", NONE},
        {"a letter in the day", "2504x1", NONE},
        {"a letter behind one digit", "25041x", 1'743'465'600},
        {"a NUL", std::string("2504\0001", 6), NONE},
        {"empty", "", NONE},
        {"a negative month", "25-101", NONE},
        {"a negative day", "2504-1", NONE},
        {"a negative year", "-10101", 915'148'800},
        {"blanks for zeros", " 2 5 4", 1'020'470'400},
        {"blanks only", "      ", NONE},
    };
    setenv("TZ", "AHEAD-9", 1);  // dates are in UTC wherever the phone is
    tzset();
    for (const auto& row : rows) {
        char date[PRODUCTION_DATE_SIZE + 1] = {};
        std::copy(row.date.begin(), row.date.end(), date);
        EXPECT_EQ(production_date_seconds(date), row.seconds) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden

// What a life under a policy comes to, year by year: the rows of a study's outcomes.csv.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

// The columns after phone, profile, policy and year. States of health and losses are in % of the
// design capacity.
enum Column : size_t {
    TRUE_SOH,
    SHOWN_SOH,             // the user's
    PREDICTED_MINUS_TRUE,  // of the daemon's models
    CAPACITY_MAH,          // of the cell
    FULL_CHARGE_MAH,       // usable: from empty to the end of charge at the present level
    WITHHELD_PERCENT,      // of the cell's capacity, mean over the year: above the end of charge
    USE_HOURS,             // of a full charge, at the reference load
    CHARGE_MINUTES,        // from 20 to 80 %, see charge_minutes()
    TIMES_EMPTY,           // in the year
    LEVEL_0_DAYS,          // in the year, and so on up to level 5
    LEVEL_ROSE_DAY = LEVEL_0_DAYS + MAX_LEVEL + 1,  // day of life; empty while it has not risen
    COLUMN_COUNT,
};

struct ColumnKind {
    const char* name;
    int decimals;
};

inline constexpr std::array<ColumnKind, COLUMN_COUNT> COLUMNS = {{
    {"true_soh_percent", 3},
    {"shown_soh_percent", 3},
    {"predicted_minus_true_percent", 3},
    {"capacity_mah", 1},
    {"full_charge_mah", 1},
    {"withheld_percent", 3},
    {"use_hours", 3},
    {"charge_minutes", 1},
    {"times_empty", 0},
    {"level_0_days", 2},
    {"level_1_days", 2},
    {"level_2_days", 2},
    {"level_3_days", 2},
    {"level_4_days", 2},
    {"level_5_days", 2},
    {"level_rose_day", 2},
}};

// A value of a column; an empty one is not a number.
inline constexpr double EMPTY = std::numeric_limits<double>::quiet_NaN();
using OutcomeRow = std::array<double, COLUMN_COUNT>;

// Returns the ends of the years of a life, in years: 1, 2, 2.5.
std::vector<double> year_ends(double years);

// Follows a life, and collects a row at the end of each of its years.
struct Outcomes {
    std::vector<double> ends;  // year_ends() of the life
    double reference_load_ma;
    std::vector<OutcomeRow> rows{};

    // Of the current year.
    std::array<double, MAX_LEVEL + 1> level_s{};
    double withheld_sum = 0;  // a sample a day
    int withheld_samples = 0;
    int times_empty = 0;

    int64_t time_s = 0;  // of the latest step
    bool was_on = true;
    double level_rose_day = EMPTY;
};

// Call it after each step of the life.
void note_step(Outcomes& outcomes, const Life& life);

// Returns the minutes that the phone, idle and at 25 degC, needs on a USB charger of 25 W to charge
// from 20 to 80 % of what it shows at a level; EMPTY if it needs more than a day.
double charge_minutes(const phone::Phone& phone, int level);

// Returns the line with the names of the columns, and the lines of a life, with their newlines.
std::string outcome_header();
std::string outcome_lines(int phone, std::string_view profile, std::string_view policy,
                          const Outcomes& outcomes);

}  // namespace cellwarden::lifetime

#include "tools/lifetime/outcomes.h"

#include <cmath>
#include <cstdio>

#include "tools/lifetime/figures.h"
#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

constexpr double REFERENCE_WATTS = 25;
constexpr double REFERENCE_C = 25;
constexpr double STEP_S = 10;
constexpr double LONGEST_CHARGE_S = 86'400;

double days(double seconds) {
    return seconds / static_cast<double>(SECONDS_PER_DAY);
}

// Returns the state of charge at which charging ends at a level.
double end_of_charge(const phone::Phone& phone, int level) {
    phone::Charger charger = phone.charger;
    charger.ageing_level = level;
    return phone::end_of_charge_soc(charger, phone.battery);
}

OutcomeRow row_of(const Outcomes& outcomes, const Life& life) {
    const HealthState& health = life.state.health;
    const phone::Battery& battery = life.phone.battery;
    const int level = life.state.levels.soft_charge_mode;
    const double true_percent = battery.state_of_health * 100;
    OutcomeRow row;
    row[TRUE_SOH] = true_percent;
    row[SHOWN_SOH] = health.latest_user_soh / SOH_PER_PERCENT;
    row[PREDICTED_MINUS_TRUE] = health.latest_predicted_soh / SOH_PER_PERCENT - true_percent;
    row[CAPACITY_MAH] = phone::charge_full_uah(battery) / 1e3;
    row[FULL_CHARGE_MAH] = row[CAPACITY_MAH] * end_of_charge(life.phone, level);
    row[WITHHELD_PERCENT] = outcomes.withheld_sum / outcomes.withheld_samples;
    row[USE_HOURS] = row[FULL_CHARGE_MAH] / outcomes.reference_load_ma;
    row[CHARGE_MINUTES] = charge_minutes(life.phone, level);
    row[TIMES_EMPTY] = outcomes.times_empty;
    for (size_t i = 0; i < outcomes.level_s.size(); i++) {
        row[LEVEL_0_DAYS + i] = days(outcomes.level_s[i]);
    }
    row[LEVEL_ROSE_DAY] = outcomes.level_rose_day;
    return row;
}

void note_day(Outcomes& outcomes, const Life& life) {
    const double end = end_of_charge(life.phone, life.state.levels.soft_charge_mode);
    outcomes.withheld_sum += 100 * (1 - end);
    outcomes.withheld_samples++;
}

}  // namespace

std::vector<double> year_ends(double years) {
    std::vector<double> ends;
    for (int year = 1; year < years; year++) {
        ends.push_back(year);
    }
    ends.push_back(years);
    return ends;
}

void note_step(Outcomes& outcomes, const Life& life) {
    const int level = life.state.levels.soft_charge_mode;
    outcomes.level_s[static_cast<size_t>(level)] +=
        static_cast<double>(life.time_s - outcomes.time_s);
    if (level > 0 && std::isnan(outcomes.level_rose_day)) {
        outcomes.level_rose_day = days(static_cast<double>(life.time_s));
    }
    // Between two steps, a phone is off only if its battery has run empty.
    outcomes.times_empty += outcomes.was_on && !life.is_on ? 1 : 0;
    outcomes.was_on = life.is_on;
    const size_t year = outcomes.rows.size();
    const bool year_is_over =
        year < outcomes.ends.size() && life.time_s >= seconds_of_years(outcomes.ends[year]);
    if (life.time_s / SECONDS_PER_DAY != outcomes.time_s / SECONDS_PER_DAY ||
        (year_is_over && outcomes.withheld_samples == 0)) {
        note_day(outcomes, life);
    }
    outcomes.time_s = life.time_s;
    if (year_is_over) {
        outcomes.rows.push_back(row_of(outcomes, life));
        outcomes.level_s = {};
        outcomes.withheld_sum = 0;
        outcomes.withheld_samples = 0;
        outcomes.times_empty = 0;
    }
}

double charge_minutes(const phone::Phone& phone, int level) {
    phone::Phone charged = phone;
    charged.charger = {.source = phone::Source::USB,
                       .type = "PD",
                       .watts = REFERENCE_WATTS,
                       .ageing_level = level,
                       .steps = phone.charger.steps};
    charged.ambient_c = REFERENCE_C;
    charged.load_ma = 0;
    charged.battery.temp_c = REFERENCE_C;
    const double shown_full = phone::end_of_charge_soc(charged.charger, charged.battery);
    charged.battery.soc = 0.2 * shown_full;
    double seconds = 0;
    while (charged.battery.soc < 0.8 * shown_full) {
        if (seconds >= LONGEST_CHARGE_S) {
            return EMPTY;
        }
        phone::advance_phone(charged, STEP_S);
        seconds += STEP_S;
    }
    return seconds / 60;
}

std::string outcome_header() {
    std::string line = "phone,profile,policy,year";
    for (const ColumnKind& column : COLUMNS) {
        line += std::string(",") + column.name;
    }
    return line + "\n";
}

std::string outcome_lines(int phone, std::string_view profile, std::string_view policy,
                          const Outcomes& outcomes) {
    std::string lines;
    char number[64];
    for (size_t i = 0; i < outcomes.rows.size(); i++) {
        lines += std::to_string(phone) + "," + std::string(profile) + "," + std::string(policy);
        (void)snprintf(number, sizeof number, ",%g", outcomes.ends[i]);
        lines += number;
        for (size_t column = 0; column < COLUMN_COUNT; column++) {
            const double value = outcomes.rows[i][column];
            (void)snprintf(number, sizeof number, ",%.*f", COLUMNS[column].decimals, value);
            lines += std::isnan(value) ? "," : number;
        }
        lines += "\n";
    }
    return lines;
}

}  // namespace cellwarden::lifetime

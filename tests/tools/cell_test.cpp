// The model of the cell against its equations, and the fit against tables that were made from known parameters.
#include "tools/lifetime/cell.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "common/json_reader.h"
#include "program.h"
#include "small_profile.h"
#include "tools/lifetime/fit.h"
#include "tools/lifetime/least_squares.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {
namespace {

Cell shipped_cell(const std::string& name) {
    return begin_cell(load_cell(cell_file(name, {})));
}
void rest(Cell& cell, double temp_c, double volts, double days, double soc = 0.5) {
    advance_cell(cell, {.seconds = days * 86'400,
                        .temp_c = temp_c,
                        .soc_before = soc,
                        .soc = soc,
                        .open_circuit_v = volts,
                        .terminal_v = volts,
                        .charger_v = volts});
}
// Half cycles between (1 - depth) / 2 and (1 + depth) / 2, the first one a discharge, at a constant voltage and C-rate.
void cycle(Cell& cell, double temp_c, double volts, int half_cycles, double depth, double c_rate = 1) {
    double soc = (1 + depth) / 2;
    for (int half = 0; half <= half_cycles; half++) {
        const double next = half % 2 == 0 ? soc - depth : soc + depth;
        const bool ends = half == half_cycles;  // a turn ends the half cycle before it
        cell.soh = 1;                           // throughput of the new cell
        advance_cell(cell, {.seconds = ends ? 0 : depth / c_rate * 3600,
                            .temp_c = temp_c,
                            .soc_before = ends ? next : soc,
                            .soc = next,
                            .open_circuit_v = volts,
                            .terminal_v = volts,
                            .charger_v = volts});
        soc = next;
    }
}
double lost_percent(const Cell& cell) {
    return 100 * (1 - cell.soh);
}
// Removes the calendar ageing.
void keep_cycling(Cell& cell) {
    for (auto* terms : {&cell.capacity, &cell.resistance}) {
        for (TermState& state : *terms) {
            state.scale *= state.term.kind == TermKind::CYCLING ? 1 : 0;
        }
    }
}
double lost_by_cycles(const char* name, double temp_c, int half_cycles, double depth, double c_rate = 1) {
    Cell cell = shipped_cell(name);
    keep_cycling(cell);
    cycle(cell, temp_c, 3.9, half_cycles, depth, c_rate);
    return lost_percent(cell);
}

class CellModelTest : public test::ToolTest {};

TEST_F(CellModelTest, FollowsThePublishedEquations) {
    for (const test::Row& row : table("cell.csv")) {
        Cell cell = shipped_cell(row.at(1));
        const double temp_c = test::number(row, 2), volts = test::number(row, 3);
        if (test::number(row, 4) > 0) {
            rest(cell, temp_c, volts, test::number(row, 4));
        } else {
            keep_cycling(cell);
            cycle(cell, temp_c, volts, static_cast<int>(test::number(row, 5)), test::number(row, 6));
        }
        EXPECT_NEAR(lost_percent(cell), test::number(row, 7), 1e-6) << row.at(0);
        EXPECT_NEAR(100 * (resistance_factor(cell, 25) - 1), test::number(row, 8), 1e-6) << row.at(0);
    }
}

// Loss, not age, is carried from one condition to the next, in any number of steps.
TEST_F(CellModelTest, CarriesTheLossThroughChangingConditions) {
    const auto after = [](std::initializer_list<std::array<double, 3>> stays) {
        Cell cell = shipped_cell("schmalstieg-2014");
        for (const auto& [temp_c, volts, days] : stays) {
            rest(cell, temp_c, volts, days);
        }
        return lost_percent(cell);
    };
    const double cool = after({{40, 3.8, 100}}), hot = after({{50, 4.0, 100}});
    CellModel faster = load_cell(cell_file("schmalstieg-2014", {}));
    scale_ageing(faster, 1.5);
    Cell cell = begin_cell(faster);
    rest(cell, 40, 3.8, 100);
    EXPECT_NEAR(lost_percent(cell), 1.5 * cool, 1e-9);
    EXPECT_NEAR(after({{40, 3.8, 200}}), cool * std::pow(2, 0.75), 1e-9) << "twice the time";
    EXPECT_NEAR(after({{40, 3.8, 30}, {40, 3.8, 70}}), cool, 1e-9);
    const double both = std::pow(std::pow(cool, 1 / 0.75) + std::pow(hot, 1 / 0.75), 0.75);
    EXPECT_NEAR(after({{40, 3.8, 100}, {50, 4.0, 100}}), both, 1e-9);
    EXPECT_NEAR(after({{50, 4.0, 100}, {40, 3.8, 100}}), both, 1e-9);
}

TEST_F(CellModelTest, CyclesCostMoreColdHotFastAndDeep) {
    const double mild = lost_by_cycles("phone", 25, 400, 0.5, 0.5);
    EXPECT_GT(lost_by_cycles("phone", 0, 400, 0.5, 0.5), 1.5 * mild);
    EXPECT_GT(lost_by_cycles("phone", 45, 400, 0.5, 0.5), 1.2 * mild);
    EXPECT_GT(lost_by_cycles("phone", 25, 400, 0.5, 1), 1.2 * mild);
    EXPECT_GT(lost_by_cycles("phone", 25, 200, 1, 0.5), 1.3 * mild) << "the same throughput";
    Cell cell = shipped_cell("phone");
    cycle(cell, 0, 3.9, 1, 0.5);
    EXPECT_EQ(cell.capacity.back().lost_percent, 0) << "a discharge is no cold charging";
    const TermState& voltage = cell.capacity.at(1);
    EXPECT_NEAR(term_rate(voltage, 25, 4.45, 0) / term_rate(voltage, 25, 4.35, 0), std::exp(0.8443), 1e-6);
}

// A turn of 1 % belongs to its half cycle; one of 5 % ends it.
TEST_F(CellModelTest, HalfCyclesEndAtTurningPoints) {
    const auto lost = [](std::initializer_list<double> path) {
        Cell cell = shipped_cell("schmalstieg-2014");
        double soc = 0.9;
        for (const double next : path) {
            advance_cell(cell, {.seconds = 0,
                                .temp_c = 35,
                                .soc_before = soc,
                                .soc = next,
                                .open_circuit_v = 3.667,
                                .terminal_v = 3.667,
                                .charger_v = 4.2});
            soc = next;
        }
        return lost_percent(cell);
    };
    const auto of = [](double depth, double ah) { return 100 * (7.6e-4 + 4.081e-3 * depth) * std::sqrt(ah); };
    EXPECT_EQ(lost({0.5, 0.3}), 0) << "not ended";
    EXPECT_NEAR(lost({0.5, 0.1, 0.9}), of(0.8, 0.8 * 2.15), 1e-9);
    EXPECT_NEAR(lost({0.5, 0.51, 0.1, 0.9}), of(0.8, 0.82 * 2.15), 1e-9);
    EXPECT_NEAR(lost({0.5, 0.55, 0.5}), std::hypot(of(0.4, 0.4 * 2.15), of(0.05, 0.05 * 2.15)), 1e-3);
}

TEST_F(CellModelTest, TheKneeBendsAndResistanceGrowsAndFallsWithTemperature) {
    const auto gain_after = [](const char* name, double lost) {
        Cell cell = shipped_cell(name);
        cell.capacity.front().lost_percent = cell.capacity.front().grown = lost;
        cell.capacity.front().scale = 0;
        cell.capacity.front().term.exponent = 1;
        const size_t last = cell.capacity.size() - 1;
        cycle(cell, 0, 3.9, 20, 1);
        return cell.capacity.at(last).lost_percent;
    };
    EXPECT_NEAR(gain_after("textbook", 35.1) / gain_after("textbook", 34.0), 3, 1e-9);
    EXPECT_GT(gain_after("phone", 35) / gain_after("phone", 10), 1.5);

    Cell cell = shipped_cell("phone");
    EXPECT_NEAR(resistance_factor(cell, 25), 1, 1e-12);
    EXPECT_NEAR(resistance_factor(cell, 0), std::exp(2000 * (1 / 273.15 - 1 / 298.15)), 1e-9);
    EXPECT_LT(resistance_factor(cell, 45), 0.8);
    EXPECT_EQ(resistance_factor(cell, -40), resistance_factor(cell, -20)) << "outside its range";
    rest(cell, 40, 4.4, 500);
    EXPECT_GT(resistance_factor(cell, 25), 1.1);
}

// The cell `as-believed` has the constants of the daemon, at any temperature and voltage.
TEST_F(CellModelTest, AsBelievedIsWhatTheDaemonBelieves) {
    const Cell cell = shipped_cell("as-believed");
    const auto believed = [](const LossConstants& loss, double temp_c, double volts) {
        return 100 * std::exp(double(loss.voltage_slope) * volts - double(loss.activation_k) / (temp_c + 273.15) +
                              double(loss.offset));
    };
    for (const double temp_c : {0.0, 25.0, 45.0}) {
        for (const double volts : {4.38, 4.48}) {
            EXPECT_NEAR(term_rate(cell.capacity.at(0), temp_c, volts, 0) / (365.25 * 24) /
                            believed(POLICY.full_stay, temp_c, volts),
                        1, 1e-9);
            EXPECT_NEAR(
                term_rate(cell.capacity.at(1), temp_c, volts, 0) / 100 / believed(POLICY.charge_cycle, temp_c, volts),
                1, 1e-9);
        }
    }
}

TEST_F(CellModelTest, CountsTheTimeOutsideItsRanges) {
    Cell cell = shipped_cell("schmalstieg-2014");
    rest(cell, 50, 4.1, 3);
    EXPECT_TRUE(outside_of(cell).empty());
    rest(cell, 20, 4.3, 2);
    rest(cell, 50, 4.3, 1);
    const std::vector<Outside> outside = outside_of(cell);
    ASSERT_EQ(outside.size(), 2U);
    EXPECT_EQ(outside[0].quantity, Quantity::TEMPERATURE);
    EXPECT_EQ(outside[0].days, 2);
    EXPECT_EQ(outside[1].quantity, Quantity::VOLTAGE);
    EXPECT_EQ(outside[1].days, 3);
    EXPECT_EQ(outside[1].range.high, 4.162);
}

TEST_F(CellModelTest, AMistakeIsNamedWithItsPlaceAndReason) {
    for (const test::Row& row : table("cell_mistakes.csv")) {
        auto document = nlohmann::json::parse(test::text_of_file(cell_file("textbook", {})));
        document.merge_patch(nlohmann::json::parse(row.at(1)));
        try {
            (void)parse_cell(document.dump(), "cell.json");
            ADD_FAILURE() << row.at(0) << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.at(2))) << row.at(0);
        }
    }
    for (const test::Row& row : table("cell_ranges.csv")) {
        auto document = nlohmann::json::parse(test::text_of_file(cell_file("phone", {})));
        document[nlohmann::json::json_pointer(row.at(0))] = 1e18;
        try {
            (void)parse_cell(document.dump(), "cell.json");
            ADD_FAILURE() << row.at(0) << ": was accepted";
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(": expected " + row.at(1) + ", found")) << row.at(0);
        }
    }
    EXPECT_THROW((void)small_profile(R"({"cell": "nobody"})"), InputError);
    EXPECT_EQ(small_profile(R"({"cell": "textbook"})").cell.name, "textbook");
    EXPECT_EQ(small_profile().cell.name, "phone");
}

// --- The fit

struct Truth {
    std::vector<double> calendar{4, 0.7, 5000, 1.5, 6};
    std::vector<double> cycling{1.8, 0.8, 1500, 2, 0.6, 0.6, 1.5, 9000, 1.5};
};
struct Tables {
    std::vector<CalendarRow> calendar{};
    std::vector<CyclingRow> cycling{};
};

double normal(Random& random) {
    double sum = -6;
    for (int i = 0; i < 12; i++) {
        sum += next_share(random);
    }
    return sum;
}

// Tables of the equations in fit.h, with normal noise.
Tables noisy_tables(uint64_t seed, const std::vector<double>& temperatures, double noise_percent) {
    Random random{seed};
    Tables tables;
    const Truth truth;
    const std::vector<double>&c = truth.calendar, &u = truth.cycling;
    for (const double temp_c : temperatures) {
        const double inverse_k = 1 / (temp_c + 273.15), over_k = inverse_k - 1 / 298.15;
        for (const double volts : {3.7, 4.0, 4.25, 4.35, 4.44, 4.48}) {
            for (const double days : {60, 120, 240, 480}) {
                const double lost =
                    c[0] * std::pow(days / 365.25, c[1]) *
                    std::exp(-c[2] * over_k + c[3] * (std::min(volts, 4.4) - 4.4) + c[4] * std::max(0.0, volts - 4.4));
                tables.calendar.push_back({temp_c, volts, days, lost + noise_percent * normal(random)});
            }
        }
        for (const double c_rate : {0.2, 0.5, 0.9}) {
            for (const double depth : {0.4, 1.0}) {
                for (const double volts : {4.38, 4.48}) {
                    for (const double charges : {100, 300, 600}) {
                        const double n = charges / 100;
                        const double lost =
                            u[0] * std::pow(n, u[1]) *
                                std::exp(-u[2] * over_k + u[3] * (volts - 4.48) + u[4] * (c_rate - 0.5)) *
                                (1 - u[5] * (1 - depth)) +
                            u[6] * n * std::exp(u[7] * (inverse_k - 1 / 273.15) + u[8] * (c_rate - 0.5));
                        tables.cycling.push_back(
                            {temp_c, c_rate, depth, volts, charges, lost + noise_percent * normal(random)});
                    }
                }
            }
        }
    }
    return tables;
}

// Each estimate within four of its standard errors, and the errors neither too large nor, over all, too small.
TEST(Fitting, RecoversTheParametersWithinTheirErrors) {
    double squares = 0;
    int count = 0;
    for (uint64_t seed = 1; seed <= 5; seed++) {
        const Tables tables = noisy_tables(seed, {0, 5, 10, 25, 35, 45}, 0.2);
        const CellFit fit = fit_cell(tables.calendar, tables.cycling);
        const auto check = [&](const FittedModel& model, size_t index, double wanted) {
            const Parameter& estimate = model.fit.estimates.at(index);
            const double deviation = (estimate.value - wanted) / estimate.error;
            EXPECT_LT(std::abs(deviation), 4) << model.name << "." << estimate.name << ", seed " << seed << ": "
                                              << estimate.value << " of " << wanted;
            EXPECT_LT(estimate.error, 0.2 * std::abs(wanted)) << model.name << "." << estimate.name;
            EXPECT_FALSE(estimate.held);
            squares += deviation * deviation;
            count++;
        };
        const Truth truth;
        for (size_t i = 0; i < truth.calendar.size(); i++) {
            check(fit.calendar, i, truth.calendar[i]);
        }
        for (size_t i = 0; i < truth.cycling.size(); i++) {
            check(fit.cycling, i, truth.cycling[i]);
        }
        check(fit.arrhenius, 0, 5000 / 0.7);
        check(fit.arrhenius, 1, -1.5 / 0.7);
        check(fit.arrhenius, 2, -6 / 0.7);
        EXPECT_NEAR(fit.calendar.fit.deviation, 0.2, 0.04) << "the noise";
    }
    EXPECT_NEAR(squares / count, 1, 0.5) << "the mean square of the deviations, in standard errors";
}

// A line through (0, 1), (1, 3), (2, 4), (3, 4), by hand: 1.5 + x, with a sum of squares of 1 and two degrees of
// freedom.
TEST(Fitting, AStraightLineHasTheErrorsOfTheTextbook) {
    const Fit fit = fit_least_squares({{.name = "offset"}, {.name = "slope"}}, {1, 3, 4, 4},
                                      [](const std::vector<double>& p, size_t x) { return p[0] + p[1] * double(x); });
    EXPECT_NEAR(fit.estimates[0].value, 1.5, 1e-6);
    EXPECT_NEAR(fit.estimates[1].value, 1, 1e-6);
    EXPECT_NEAR(fit.deviation, std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(fit.estimates[0].error, std::sqrt(0.5 * (1.0 / 4 + 2.25 / 5)), 1e-6);
    EXPECT_NEAR(fit.estimates[1].error, std::sqrt(0.5 / 5), 1e-6);
    EXPECT_NEAR(fit.covariance[0][1], -0.5 * 1.5 / 5, 1e-6);
    EXPECT_NEAR(error_of(fit, {1, 1.5}), std::sqrt(0.5 / 4), 1e-6) << "of the mean";
}

// Without noise: a table of the daemon's own equations returns the daemon's constants.
TEST(Fitting, ReturnsTheDaemonsConstantsFromTheDaemonsEquations) {
    Tables tables;
    const auto lost = [](const LossConstants& loss, double temp_c, double volts, double amount) {
        return 100 * amount *
               std::exp(double(loss.voltage_slope) * volts - double(loss.activation_k) / (temp_c + 273.15) +
                        double(loss.offset));
    };
    for (const double temp_c : {15, 25, 45}) {
        for (const double volts : {4.32, 4.38, 4.42, 4.48}) {
            for (const double amount : {100, 200}) {
                tables.calendar.push_back({temp_c, volts, amount, lost(POLICY.full_stay, temp_c, volts, amount * 24)});
                for (const double depth : {0.5, 1.0}) {
                    tables.cycling.push_back(
                        {temp_c, depth / 2, depth, volts, amount, lost(POLICY.charge_cycle, temp_c, volts, amount)});
                }
            }
        }
    }
    const auto policy = fitted_policy(fit_cell(tables.calendar, tables.cycling));
    EXPECT_EQ(policy.at("full_stay").dump(), R"({"voltage_slope":8.443,"activation_k":4600.0,"offset":-33.0})");
    EXPECT_EQ(policy.at("charge_cycle").dump(), R"({"voltage_slope":1.77,"activation_k":954.2,"offset":-13.96})");
    EXPECT_NEAR(policy.at("arrhenius").at("activation_k"), 4600, 5);
    EXPECT_NEAR(policy.at("arrhenius").at("low_slope"), -8.443, 0.02);
    EXPECT_NEAR(policy.at("arrhenius").at("high_slope"), -8.443, 0.02);
}

TEST(Fitting, WarnsOfWhatTheDataDoNotDetermine) {
    const Tables one = noisy_tables(1, {25}, 0.2);
    const CellFit fit = fit_cell(one.calendar, one.cycling);
    std::string warnings;
    for (const std::string& warning : fit.warnings) {
        warnings += warning + "\n";
    }
    for (const char* const part : {"calendar.activation_k: the data do not determine it; it keeps 4600\n",
                                   "cycling.activation_k: the data do", "cycling.cold_percent: the data do not",
                                   "full_stay.activation_k: the data do not", "arrhenius.activation_k: the data do not",
                                   "calendar: temperature_c: a phone meets -10 to 50, the data cover 25 to 25\n"}) {
        EXPECT_THAT(warnings, testing::HasSubstr(part));
    }
    EXPECT_THAT(warnings, testing::Not(testing::HasSubstr("calendar.exponent")));
    const std::vector<CalendarRow> few(one.calendar.begin(), one.calendar.begin() + 2);
    EXPECT_THROW((void)fit_cell(few, one.cycling), std::runtime_error);
}

// The outputs are ready to use: the cell loses what the tables say, and the C++ text has the figures of the JSON.
TEST(Fitting, WritesACellThatAgesLikeTheTables) {
    const Tables tables = noisy_tables(1, {0, 10, 25, 45}, 0);
    const CellFit fit = fit_cell(tables.calendar, tables.cycling);
    const CellModel model = parse_cell(fitted_cell(fit).dump(), "cell.json");
    for (const CalendarRow& row : tables.calendar) {
        Cell cell = begin_cell(model);
        rest(cell, row.temp_c, row.voltage_v, row.days);
        EXPECT_NEAR(lost_percent(cell), row.lost_percent, 0.01);
        EXPECT_TRUE(outside_of(cell).empty());
    }
    for (const CyclingRow& row : tables.cycling) {
        Cell cell = begin_cell(model);
        keep_cycling(cell);
        const auto half_cycles = static_cast<int>(std::lround(2 * row.charges / row.depth));
        cycle(cell, row.temp_c, row.voltage_v, half_cycles, row.depth, row.c_rate);
        EXPECT_NEAR(lost_percent(cell), row.lost_percent, 0.002 * row.lost_percent)
            << row.temp_c << " degC, " << row.c_rate << " C, " << row.depth << ", " << row.voltage_v << " V, "
            << row.charges << " charges";
    }
    const std::string text = policy_text(fit);
    EXPECT_THAT(text,
                testing::HasSubstr(".activation_k = " + fitted_policy(fit).at("arrhenius").at("activation_k").dump()));
    EXPECT_THAT(text, testing::HasSubstr("{.voltage_slope = extended{"));
    const std::string svg = residuals_svg(fit);
    const auto circles = [&](size_t from = 0) {
        size_t count = 0;
        for (size_t at = from; (at = svg.find("<circle", at)) != svg.npos; at++) {
            count++;
        }
        return count;
    };
    EXPECT_GE(circles(), tables.calendar.size() + tables.cycling.size());
}

class FitTables : public test::ToolTest {};

TEST_F(FitTables, ReadTheirColumnsAndRefuseMistakes) {
    write("t.csv", "# a note\ndays,temperature_c,soc_percent,capacity_percent\n100, 25, 50, 98.5\n");
    const auto rows = read_calendar_table(top / "t.csv");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_NEAR(rows[0].voltage_v, 3.88, 1e-9);
    EXPECT_NEAR(rows[0].lost_percent, 1.5, 1e-9);
    for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"days,colour\n", "t.csv:1: unknown column 'colour'"},
             {"days,voltage_v\n1\n", "t.csv:2: fewer values than columns"},
             {"days,voltage_v\n1,2,3\n", "t.csv:2: more values than columns"},
             {"days,voltage_v\n1,9\n", "t.csv:2: voltage_v: expected a number from 2 to 5, found '9'"},
             {"days,voltage_v\n1,4\n", "has no column temperature_c"},
             {"days\n", "has no rows"}}) {
        write("t.csv", text);
        try {
            (void)read_calendar_table(top / "t.csv");
            ADD_FAILURE() << text;
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(message));
        }
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

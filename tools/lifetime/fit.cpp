#include "tools/lifetime/fit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {
namespace {

constexpr double HOURS_PER_DAY = 24;
constexpr double REFERENCE_K = 25 + KELVIN_AT_0_C;
constexpr double COLD_REFERENCE_K = KELVIN_AT_0_C;
constexpr double COLD_BELOW_C = 15;
constexpr double FULL_FROM_V = 4.3;  // rows of full_stay
constexpr double CHARGE_V = 4.48;
constexpr double REFERENCE_C_RATE = 0.5;
constexpr double WORSE_FIT = 2;     // residuals, relative to those of the cell
constexpr double POOR_ERROR = 0.5;  // share of the value
const auto KNEE_V = static_cast<double>(POLICY.arrhenius.knee_uv) / 1e6;

// Conditions that a phone's cell meets, in the order of Quantity.
constexpr std::array<Range, QUANTITY_COUNT> CALENDAR_USE = {{{-10, 50}, {3.5, 4.48}, {}, {}}};
constexpr std::array<Range, QUANTITY_COUNT> CYCLING_USE = {
    {{-10, 50}, {4.38, 4.48}, {0.1, 0.9}, {0.1, 1}}};

double inverse_kelvin(double temp_c) {
    return 1 / (temp_c + KELVIN_AT_0_C);
}

template <typename... Numbers>
std::string text_of(const char* format, Numbers... numbers) {
    char text[128];
    (void)snprintf(text, sizeof text, format, numbers...);
    return text;
}

std::string name_of(const CalendarRow& row) {
    return text_of("%g °C, %g V, %g days", row.temp_c, row.voltage_v, row.days);
}

std::string name_of(const CyclingRow& row) {
    return text_of("%g °C, %g C, depth %g, %g V, %g charges", row.temp_c, row.c_rate, row.depth,
                   row.voltage_v, row.charges);
}

// Fits a model to the losses of the rows.
template <typename Row, typename Loss>
FittedModel fit_rows(const char* name, std::vector<Parameter> start, const std::vector<Row>& rows,
                     Loss loss) {
    FittedModel fitted{.name = name, .fit = {}, .measured = {}, .rows = {}};
    for (const Row& row : rows) {
        fitted.measured.push_back(row.lost_percent);
        fitted.rows.push_back(name_of(row));
    }
    try {
        fitted.fit = fit_least_squares(
            std::move(start), fitted.measured,
            [&](const std::vector<double>& p, size_t i) { return loss(p, rows[i]); });
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(name) + ": " + error.what());
    }
    return fitted;
}

FittedModel fit_calendar(const std::vector<CalendarRow>& rows) {
    return fit_rows("calendar",
                    {{.name = "percent", .value = 5},
                     {.name = "exponent", .value = 0.75},
                     {.name = "activation_k", .value = 4600},
                     {.name = "per_volt", .value = 2},
                     {.name = "per_volt_above", .value = 2}},
                    rows, [](const std::vector<double>& p, const CalendarRow& row) {
                        return p[0] * std::pow(row.days / DAYS_PER_YEAR, p[1]) *
                               std::exp(-p[2] * (inverse_kelvin(row.temp_c) - 1 / REFERENCE_K) +
                                        p[3] * (std::min(row.voltage_v, KNEE_V) - KNEE_V) +
                                        p[4] * std::max(0.0, row.voltage_v - KNEE_V));
                    });
}

// Without a cold row, the cold branch keeps the figures of the cell `phone`.
FittedModel fit_cycling(const std::vector<CyclingRow>& rows) {
    const bool warm = std::none_of(rows.begin(), rows.end(),
                                   [](const CyclingRow& row) { return row.temp_c < COLD_BELOW_C; });
    return fit_rows(
        "cycling",
        {{.name = "percent", .value = 2},
         {.name = "exponent", .value = 0.75},
         {.name = "activation_k", .value = 1000},
         {.name = "per_volt", .value = 1.77},
         {.name = "per_c", .value = 0.5},
         {.name = "depth_share", .value = 0.7},
         {.name = "cold_percent", .value = 2.15, .held = warm},
         {.name = "cold_activation_k", .value = 10'000, .held = warm},
         {.name = "cold_per_c", .value = 2, .held = warm}},
        rows, [](const std::vector<double>& p, const CyclingRow& row) {
            const double hundreds = row.charges / 100;
            const double over_c = row.c_rate - REFERENCE_C_RATE;
            const double inverse_k = inverse_kelvin(row.temp_c);
            return p[0] * std::pow(hundreds, p[1]) *
                       std::exp(-p[2] * (inverse_k - 1 / REFERENCE_K) +
                                p[3] * (row.voltage_v - CHARGE_V) + p[4] * over_c) *
                       (1 - p[5] * (1 - row.depth)) +
                   p[6] * hundreds *
                       std::exp(p[7] * (inverse_k - 1 / COLD_REFERENCE_K) + p[8] * over_c);
        });
}

// Fits one of the daemon's models with the logarithm of the rate at 25 degC and 4.48 V, which the
// data determine better than the offset; `amount_of` returns hours or charges.
template <typename Row, typename Amount>
FittedModel fit_loss(const char* name, const LossConstants& start, const std::vector<Row>& rows,
                     Amount amount_of) {
    const auto slope = static_cast<double>(start.voltage_slope);
    const auto activation_k = static_cast<double>(start.activation_k);
    FittedModel fitted =
        fit_rows(name,
                 {{.name = "offset",
                   .value = slope * CHARGE_V - activation_k / REFERENCE_K +
                            static_cast<double>(start.offset)},
                  {.name = "voltage_slope", .value = slope},
                  {.name = "activation_k", .value = activation_k}},
                 rows, [&](const std::vector<double>& p, const Row& row) {
                     return 100 * amount_of(row) *
                            std::exp(p[0] + p[1] * (row.voltage_v - CHARGE_V) -
                                     p[2] * (inverse_kelvin(row.temp_c) - 1 / REFERENCE_K));
                 });
    std::vector<Parameter>& p = fitted.fit.estimates;
    p[0].value += p[2].value / REFERENCE_K - p[1].value * CHARGE_V;
    p[0].error = error_of(fitted.fit, {1, -CHARGE_V, 1 / REFERENCE_K});
    return fitted;
}

template <typename Row, typename Keep>
std::vector<Row> rows_where(const std::vector<Row>& rows, Keep keep) {
    std::vector<Row> kept;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(kept), keep);
    return kept;
}

// With q = k t^p, the age advances by k^(1/p): its logarithm has 1/p of the sensitivities of k.
FittedModel arrhenius_of(const FittedModel& calendar) {
    const std::vector<Parameter>& p = calendar.fit.estimates;
    const double exponent = p[1].value;
    const auto derived = [&](const char* name, size_t index, double sign) {
        std::vector<double> gradient(p.size(), 0.0);
        gradient[index] = sign / exponent;
        gradient[1] -= sign * p[index].value / (exponent * exponent);
        return Parameter{.name = name,
                         .value = sign * p[index].value / exponent,
                         .error = error_of(calendar.fit, gradient),
                         .held = p[index].held || p[1].held};
    };
    FittedModel fitted{.name = "arrhenius", .fit = {}, .measured = {}, .rows = {}};
    fitted.fit.estimates = {derived("activation_k", 2, 1), derived("low_slope", 3, -1),
                            derived("high_slope", 4, -1)};
    return fitted;
}

void widen(Range& range, double value) {
    range = {std::isinf(range.low) ? value : std::min(range.low, value),
             std::isinf(range.high) ? value : std::max(range.high, value)};
}

void warn_of_estimates(const FittedModel& model, std::vector<std::string>& warnings) {
    for (const Parameter& estimate : model.fit.estimates) {
        const std::string name = model.name + "." + estimate.name;
        if (estimate.held) {
            warnings.push_back(name + ": the data do not determine it; it keeps " +
                               text_of("%g", estimate.value));
        } else if (!(estimate.error <= POOR_ERROR * std::abs(estimate.value))) {
            warnings.push_back(name + ": the data hardly determine it: " +
                               text_of("%g ± %g", estimate.value, estimate.error));
        }
    }
}

void warn_of_use(const char* name, const std::array<Range, QUANTITY_COUNT>& data,
                 const std::array<Range, QUANTITY_COUNT>& use, std::vector<std::string>& warnings) {
    for (size_t i = 0; i < QUANTITY_COUNT; i++) {
        if (!std::isinf(use[i].low) && (use[i].low < data[i].low || use[i].high > data[i].high)) {
            warnings.push_back(std::string(name) + ": " + QUANTITY_NAMES[i] +
                               text_of(": a phone meets %g to %g, the data cover %g to %g",
                                       use[i].low, use[i].high, data[i].low, data[i].high));
        }
    }
}

// The daemon's models are linear in time and charge; where the cell is not, their residuals are
// systematic, and their standard errors too small.
void warn_of_form(const FittedModel& loss, const FittedModel& cell,
                  std::vector<std::string>& warnings) {
    if (loss.fit.deviation > WORSE_FIT * cell.fit.deviation) {
        warnings.push_back(
            loss.name + ": its form does not fit these tests: residuals of " +
            text_of("%.2g %%, those of the cell %.2g %%", loss.fit.deviation, cell.fit.deviation) +
            "; its standard errors are too small");
    }
}

}  // namespace

CellFit fit_cell(const std::vector<CalendarRow>& calendar, const std::vector<CyclingRow>& cycling) {
    CellFit fit{
        .calendar = fit_calendar(calendar),
        .cycling = fit_cycling(cycling),
        .full_stay = fit_loss(
            "full_stay", POLICY.full_stay,
            rows_where(calendar,
                       [](const CalendarRow& row) { return row.voltage_v >= FULL_FROM_V; }),
            [](const CalendarRow& row) { return row.days * HOURS_PER_DAY; }),
        .charge_cycle = fit_loss(
            "charge_cycle", POLICY.charge_cycle,
            rows_where(cycling, [](const CyclingRow& row) { return row.temp_c >= COLD_BELOW_C; }),
            [](const CyclingRow& row) { return row.charges; }),
        .arrhenius = {},
        .calendar_ranges = {},
        .cycling_ranges = {},
        .warnings = {}};
    fit.arrhenius = arrhenius_of(fit.calendar);
    const auto at = [](Quantity quantity) { return static_cast<size_t>(quantity); };
    for (const CalendarRow& row : calendar) {
        widen(fit.calendar_ranges[at(Quantity::TEMPERATURE)], row.temp_c);
        widen(fit.calendar_ranges[at(Quantity::VOLTAGE)], row.voltage_v);
    }
    for (const CyclingRow& row : cycling) {
        widen(fit.cycling_ranges[at(Quantity::TEMPERATURE)], row.temp_c);
        widen(fit.cycling_ranges[at(Quantity::VOLTAGE)], row.voltage_v);
        widen(fit.cycling_ranges[at(Quantity::C_RATE)], row.c_rate);
        widen(fit.cycling_ranges[at(Quantity::DEPTH)], row.depth);
    }
    for (const FittedModel* model :
         {&fit.calendar, &fit.cycling, &fit.full_stay, &fit.charge_cycle, &fit.arrhenius}) {
        warn_of_estimates(*model, fit.warnings);
    }
    warn_of_form(fit.full_stay, fit.calendar, fit.warnings);
    warn_of_form(fit.charge_cycle, fit.cycling, fit.warnings);
    warn_of_use("calendar", fit.calendar_ranges, CALENDAR_USE, fit.warnings);
    warn_of_use("cycling", fit.cycling_ranges, CYCLING_USE, fit.warnings);
    return fit;
}

}  // namespace cellwarden::lifetime

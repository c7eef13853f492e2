// Fits a cell and the constants of the daemon's three ageing models to laboratory tables.
//
// The cell, with losses in % of the design capacity, T in kelvin, V in volts:
//     calendar: q = percent * (t / 365.25 days)^exponent * exp(-activation_k * (1/T - 1/298.15)
//                   + per_volt * (min(V, knee) - knee) + per_volt_above * max(0, V - knee))
//     cycling:  q = percent * (N / 100 charges)^exponent * exp(-activation_k * (1/T - 1/298.15)
//                   + per_volt * (V - 4.48) + per_c * (C - 0.5)) * (1 - depth_share * (1 - D))
//               + cold_percent * (N / 100 charges) * exp(cold_activation_k * (1/T - 1/273.15)
//                   + cold_per_c * (C - 0.5))
// The daemon's models:
//     full_stay:    q = 100 * exp(voltage_slope * V - activation_k / T + offset) * hours at full
//     charge_cycle: q = 100 * exp(voltage_slope * V - activation_k / T + offset) * full charges
//     arrhenius:    the speed of calendar ageing in time, k^(1/exponent), relative to 45 degC and
//                   4.48 V; the voltage of the knee, `offset` and `numerator` are those of POLICY
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "product/policy.h"
#include "tools/lifetime/cell.h"
#include "tools/lifetime/least_squares.h"

namespace cellwarden::lifetime {

// A row of a calendar test: the cell rested at a temperature and an open-circuit voltage.
struct CalendarRow {
    double temp_c;
    double voltage_v;
    double days;
    double lost_percent;
};

// A row of a cycling test. `voltage_v` is that at which the charges ended; `charges` is the charge
// put in over the design capacity; the calendar loss of the test's duration is not in the loss.
struct CyclingRow {
    double temp_c;
    double c_rate;
    double depth;  // 0 to 1
    double voltage_v;
    double charges;
    double lost_percent;
};

// Read a table of comma-separated values whose first line names the columns:
//     calendar: temperature_c, voltage_v or soc_percent, days, capacity_percent
//     cycling: temperature_c, c_rate, depth_percent, voltage_v, full_charges, capacity_percent
// Throw InputError with file, line and reason.
std::vector<CalendarRow> read_calendar_table(const std::filesystem::path& file);
std::vector<CyclingRow> read_cycling_table(const std::filesystem::path& file);

// A model, its estimates, and each measurement beside what the model has for it.
struct FittedModel {
    std::string name;
    Fit fit;
    std::vector<double> measured;   // lost, %
    std::vector<std::string> rows;  // what each measurement was, for the picture
};

struct CellFit {
    FittedModel calendar;
    FittedModel cycling;
    FittedModel full_stay;
    FittedModel charge_cycle;
    FittedModel arrhenius;  // derived from `calendar`; it has no measurements of its own
    std::array<Range, QUANTITY_COUNT> calendar_ranges;
    std::array<Range, QUANTITY_COUNT> cycling_ranges;
    std::vector<std::string> warnings;
};

CellFit fit_cell(const std::vector<CalendarRow>& calendar, const std::vector<CyclingRow>& cycling);

// The outputs: a cell's file, the policy's constants as JSON and as C++ for product/policy.h (with
// the same rounded figures), and the residuals as a picture.
nlohmann::ordered_json fitted_cell(const CellFit& fit);
nlohmann::ordered_json fitted_policy(const CellFit& fit);
std::string policy_text(const CellFit& fit);
std::string residuals_svg(const CellFit& fit);

struct FitOptions {
    std::filesystem::path calendar;
    std::filesystem::path cycling;
    std::filesystem::path out = "fit";
};

// Fits, prints estimates and warnings, and writes all outputs.
int run_fit(const FitOptions& options);

}  // namespace cellwarden::lifetime

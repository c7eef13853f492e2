// The true ageing of the simulated cell: a semi-empirical model, independent of the daemon's
// models.
//
// Capacity and resistance each have any number of terms. A calendar term grows with time, a cycling
// term with charge throughput. At constant conditions a term is
//     q = k x^p                                   (% of the new cell's value)
//     x: time in multiples of `per` days, or throughput in multiples of `per` full charges
//     k = percent * f_T * f_V * f_C * f_D
//     f_T = exp(-activation_k * (1/T - 1/T_ref))  Arrhenius, T in kelvin; without a reference
//                                                 exp(-activation_k / T). A negative activation_k
//                                                 makes the term grow in the cold
//        or 2^((T - T_ref) / doubling_k)
//     f_V = exp(per_volt * (V - V_ref)), above knee_v with the slope per_volt_above
//        or max(0, offset + slope * V)
//     f_C = exp(per_c * (C - C_ref)), C: current over the current that charges the design capacity
//           in an hour, in either direction
//     f_D = constant + per_depth * D + per_volt_squared * (Vm - center_v)^2, not below 0;
//           D: depth of the half cycle, 0 to 1; Vm: root-mean-square terminal voltage in it, V
// Conditions that change advance the loss, not the age:
//     q' = (q^(1/p) + k^(1/p) dx)^p
// The state is q^(1/p), so that small steps are not lost to rounding.
//
// A half cycle reaches from one turning point of the state of charge to the next; a turn of less
// than 2 % does not end it. Throughput that follows f_D is added to the loss at the end of its half
// cycle.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace cellwarden::lifetime {

inline constexpr double KELVIN_AT_0_C = 273.15;

// The range of the experiments behind a term, or of its stated assumption.
struct Range {
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();
};

enum class Quantity : size_t { TEMPERATURE, VOLTAGE, C_RATE, DEPTH };
inline constexpr size_t QUANTITY_COUNT = 4;
inline constexpr const char* QUANTITY_NAMES[QUANTITY_COUNT] = {"temperature_c", "voltage_v",
                                                               "c_rate", "depth"};

enum class TermKind { CALENDAR, CYCLING };

// Which voltage f_V depends on: the cell's at rest, the cell's at its terminals, or that at which
// the charger ends the charge.
enum class VoltageOf { OPEN_CIRCUIT, TERMINAL, CHARGER };

struct AgeingTerm {
    std::string name;
    TermKind kind = TermKind::CALENDAR;
    double percent = 0;   // k at the reference conditions, % of the new cell's value
    double per = 1;       // days or full charges
    double exponent = 1;  // p

    double activation_k = 0;  // K
    double doubling_k = 0;    // K; 0: Arrhenius
    std::optional<double> reference_c;

    VoltageOf voltage_of = VoltageOf::OPEN_CIRCUIT;
    double per_volt = 0;  // 1/V
    double reference_v = 0;
    double knee_v = 10;
    double per_volt_above = 0;           // 1/V
    std::optional<double> linear_slope;  // 1/V; replaces the exponential
    double linear_offset = 0;
    bool only_at_full = false;  // calendar: counts only while the phone shows 100 %

    // Cycling. A full charge of throughput is the charge put in, or half the sum of both
    // directions.
    bool only_charging = false;
    bool of_present_capacity = false;  // a full charge is that of the aged cell, not of the design
    double per_c = 0;
    double reference_c_rate = 0;
    double stress_constant = 1;
    double per_depth = 0;
    double per_volt_squared = 0;  // 1/V^2
    double center_v = 0;

    std::array<Range, QUANTITY_COUNT> ranges;
};

// Below a state of health of `below_soh_percent`, cycling terms grow faster by
// factor + per_percent * (below_soh_percent - state of health in %).
struct Knee {
    double below_soh_percent = 0;
    double factor = 1;
    double per_percent = 0;
};

// Resistance relative to the new cell at 25 degC:
//     (1 + terms / 100 + percent_per_percent_lost * (1 - state of health))
//       * exp(activation_k * (1/T - 1/298.15 K))
struct ResistanceModel {
    std::vector<AgeingTerm> terms;
    double percent_per_percent_lost = 0;
    double activation_k = 0;  // K
    Range temperature_c;      // where the factor of temperature holds; constant outside
};

struct CellModel {
    std::string name;    // name of the file
    std::string source;  // text of the file, for digests
    std::string about;
    std::vector<AgeingTerm> capacity;
    Knee knee;
    ResistanceModel resistance;
};

// Reads a cell. Throws InputError with the file, the position and the expected value.
CellModel parse_cell(const std::string& text, const std::filesystem::path& file);
CellModel load_cell(const std::filesystem::path& file);

// Multiplies the growth of all terms of capacity and resistance.
void scale_ageing(CellModel& cell, double factor);

// Returns the file of the shipped cell `name`, or, if the name contains a '/' or ends with ".json",
// the path relative to `folder`.
std::filesystem::path cell_file(const std::string& name, const std::filesystem::path& folder);
std::vector<std::string> shipped_cells();

// A step of the cell's life.
struct CellStep {
    double seconds;
    double temp_c;
    double soc_before;  // 0 to 1
    double soc;         // 0 to 1
    double open_circuit_v;
    double terminal_v;
    double charger_v;      // at which the charger ends a charge
    bool at_full = false;  // the phone shows 100 %
};

// A term and what it has lost so far.
struct TermState {
    AgeingTerm term;
    double scale = 0;      // percent^(1/p)
    double reference = 0;  // 1/T_ref, or T_ref in degC with doubling_k
    bool follows_half_cycle = false;
    double grown = 0;                                   // q^(1/p)
    double lost_percent = 0;                            // q
    double pending = 0;                                 // of the present half cycle, before f_D
    std::array<double, QUANTITY_COUNT> outside_s = {};  // seconds outside its ranges
};

struct HalfCycle {
    bool began = false;
    bool charging = false;
    double from_soc = 0;
    double furthest_soc = 0;
    double seconds = 0;
    double throughput = 0;
    double volts_squared = 0;  // sum of V^2 * throughput
};

struct Cell {
    Knee knee;
    double resistance_per_percent = 0;
    double resistance_activation_k = 0;
    Range resistance_range_c;
    std::vector<TermState> capacity;
    std::vector<TermState> resistance;
    bool watches_full = false;  // a term needs CellStep::at_full
    HalfCycle half_cycle;
    double soh = 1;  // 0.1 to 1; 1 is the design capacity
};

Cell begin_cell(const CellModel& model);

void advance_cell(Cell& cell, const CellStep& step);

// Returns the resistance as a multiple of that of the new cell at 25 degC.
double resistance_factor(const Cell& cell, double temp_c);

// A quantity that was outside a term's range.
struct Outside {
    std::string term;
    Quantity quantity;
    Range range;
    double days;
};
std::vector<Outside> outside_of(const Cell& cell);

// Returns k of a term at constant conditions, in %, before f_D.
double term_rate(const TermState& state, double temp_c, double volts, double c_rate);

// Returns f_D.
double depth_factor(const AgeingTerm& term, double depth, double mean_v);

}  // namespace cellwarden::lifetime

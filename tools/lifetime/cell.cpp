#include "tools/lifetime/cell.h"

#include <algorithm>
#include <cmath>

#include "state/facts.h"

namespace cellwarden::lifetime {
namespace {

constexpr double REFERENCE_KELVIN = 298.15;
constexpr double LOWEST_SOH = 0.1;
constexpr double SMALLEST_TURN = 0.02;  // of the state of charge

// Returns q of a term whose q^(1/p) is `grown`.
double loss_of(double grown, double exponent) {
    if (exponent == 0.5) {
        return std::sqrt(grown);
    }
    if (exponent == 0.75) {  // much faster than a power
        const double root = std::sqrt(grown);
        return root * std::sqrt(root);
    }
    return exponent == 1 ? grown : std::pow(grown, exponent);
}

// Returns value^(1/p).
double inverse_power(double value, double exponent) {
    return exponent == 1 ? value : std::pow(value, 1 / exponent);
}

// Returns the logarithm of f_T * f_V * f_C.
double exponent_of(const TermState& state, double temp_c, double volts, double c_rate) {
    const AgeingTerm& term = state.term;
    double exponent = 0;
    if (term.doubling_k > 0) {
        exponent = (temp_c - state.reference) / term.doubling_k * std::log(2.0);
    } else if (term.activation_k != 0) {
        exponent = -term.activation_k * (1 / (temp_c + KELVIN_AT_0_C) - state.reference);
    }
    if (!term.linear_slope) {
        exponent += term.per_volt * (std::min(volts, term.knee_v) - term.reference_v) +
                    term.per_volt_above * std::max(0.0, volts - term.knee_v);
    }
    return exponent + term.per_c * (c_rate - term.reference_c_rate);
}

// Returns (f_T * f_V * f_C * percent)^(1/p).
double growth_rate(const TermState& state, double temp_c, double volts, double c_rate) {
    const AgeingTerm& term = state.term;
    double exponent = exponent_of(state, temp_c, volts, c_rate);
    if (term.linear_slope) {
        const double linear = term.linear_offset + *term.linear_slope * volts;
        if (linear <= 0) {
            return 0;
        }
        exponent += std::log(linear);
    }
    return state.scale * std::exp(exponent / term.exponent);
}

void note_range(TermState& state, Quantity quantity, double value, double seconds) {
    const Range& range = state.term.ranges[static_cast<size_t>(quantity)];
    if (value < range.low || value > range.high) {
        state.outside_s[static_cast<size_t>(quantity)] += seconds;
    }
}

double voltage_of(const AgeingTerm& term, const CellStep& step) {
    switch (term.voltage_of) {
        case VoltageOf::OPEN_CIRCUIT:
            return step.open_circuit_v;
        case VoltageOf::TERMINAL:
            return step.terminal_v;
        case VoltageOf::CHARGER:
            break;
    }
    return step.charger_v;
}

void grow(TermState& state, double by) {
    state.grown += by;
    state.lost_percent = loss_of(state.grown, state.term.exponent);
}

void advance_calendar(TermState& state, const CellStep& step) {
    const AgeingTerm& term = state.term;
    if (term.only_at_full && !step.at_full) {
        return;
    }
    const double volts = voltage_of(term, step);
    note_range(state, Quantity::TEMPERATURE, step.temp_c, step.seconds);
    note_range(state, Quantity::VOLTAGE, volts, step.seconds);
    grow(state,
         growth_rate(state, step.temp_c, volts, 0) * step.seconds / (term.per * SECONDS_PER_DAY));
}

// `knee` is the factor of the knee.
void advance_cycling(TermState& state, const CellStep& step, double soh, double knee) {
    const AgeingTerm& term = state.term;
    const double gain = step.soc - step.soc_before;
    double charges = term.only_charging ? std::max(0.0, gain) : std::abs(gain) / 2;
    if (charges == 0) {
        return;
    }
    charges *= term.of_present_capacity ? 1 : soh;
    const double c_rate =
        step.seconds > 0 ? std::abs(gain) * soh * SECONDS_PER_HOUR / step.seconds : 0;
    const double volts = voltage_of(term, step);
    note_range(state, Quantity::TEMPERATURE, step.temp_c, step.seconds);
    note_range(state, Quantity::C_RATE, c_rate, step.seconds);
    const double growth =
        charges * growth_rate(state, step.temp_c, volts, c_rate) / term.per * knee;
    if (state.follows_half_cycle) {
        state.pending += growth;
    } else {
        note_range(state, Quantity::VOLTAGE, volts, step.seconds);
        grow(state, growth);
    }
}

// Adds the throughput of a half cycle to the terms that follow its depth and voltage.
void end_half_cycle(std::vector<TermState>& terms, const HalfCycle& half, double depth) {
    if (half.throughput <= 0) {
        return;
    }
    const double mean_v = std::sqrt(half.volts_squared / half.throughput);
    for (TermState& state : terms) {
        if (state.follows_half_cycle) {
            note_range(state, Quantity::DEPTH, depth, half.seconds);
            note_range(state, Quantity::VOLTAGE, mean_v, half.seconds);
            grow(state, state.pending * inverse_power(depth_factor(state.term, depth, mean_v),
                                                      state.term.exponent));
            state.pending = 0;
        }
    }
}

// Ends the half cycle if the step turns, then counts the step.
void follow_half_cycle(Cell& cell, const CellStep& step) {
    HalfCycle& half = cell.half_cycle;
    if (!half.began) {
        half = {.began = true, .from_soc = step.soc_before, .furthest_soc = step.soc_before};
    }
    const double ahead =
        half.charging ? step.soc - half.furthest_soc : half.furthest_soc - step.soc;
    if (ahead >= 0) {
        half.furthest_soc = step.soc;
    } else if (-ahead > SMALLEST_TURN) {
        const double depth = std::abs(half.furthest_soc - half.from_soc);
        end_half_cycle(cell.capacity, half, depth);
        end_half_cycle(cell.resistance, half, depth);
        half = {.began = true,
                .charging = !half.charging,
                .from_soc = half.furthest_soc,
                .furthest_soc = step.soc};
    }
    const double gain = std::abs(step.soc - step.soc_before);
    half.throughput += gain;
    half.volts_squared += step.terminal_v * step.terminal_v * gain;
    half.seconds += gain > 0 ? step.seconds : 0;
}

double sum_percent(const std::vector<TermState>& terms) {
    double sum = 0;
    for (const TermState& state : terms) {
        sum += state.lost_percent;
    }
    return sum;
}

double knee_factor(const Knee& knee, double soh_percent) {
    return soh_percent < knee.below_soh_percent
               ? knee.factor + knee.per_percent * (knee.below_soh_percent - soh_percent)
               : 1;
}

void advance_all(std::vector<TermState>& terms, TermKind kind, const CellStep& step, double soh,
                 double knee) {
    for (TermState& state : terms) {
        if (state.term.kind != kind) {
            continue;
        }
        if (kind == TermKind::CALENDAR) {
            advance_calendar(state, step);
        } else {
            advance_cycling(state, step, soh, knee);
        }
    }
}

std::vector<TermState> begin_terms(const std::vector<AgeingTerm>& terms) {
    std::vector<TermState> states;
    for (const AgeingTerm& term : terms) {
        TermState& state = states.emplace_back();
        state.term = term;
        state.scale = inverse_power(term.percent, term.exponent);
        if (term.doubling_k > 0) {
            state.reference = term.reference_c.value_or(0);
        } else if (term.reference_c) {
            state.reference = 1 / (*term.reference_c + KELVIN_AT_0_C);
        }
        state.follows_half_cycle = term.per_depth != 0 || term.per_volt_squared != 0;
    }
    return states;
}

}  // namespace

void scale_ageing(CellModel& cell, double factor) {
    for (std::vector<AgeingTerm>* terms : {&cell.capacity, &cell.resistance.terms}) {
        for (AgeingTerm& term : *terms) {
            term.percent *= factor;
        }
    }
}

Cell begin_cell(const CellModel& model) {
    return {.knee = model.knee,
            .resistance_per_percent = model.resistance.percent_per_percent_lost,
            .resistance_activation_k = model.resistance.activation_k,
            .resistance_range_c = model.resistance.temperature_c,
            .capacity = begin_terms(model.capacity),
            .resistance = begin_terms(model.resistance.terms),
            .watches_full = std::any_of(model.capacity.begin(), model.capacity.end(),
                                        [](const AgeingTerm& term) { return term.only_at_full; }),
            .half_cycle = {}};
}

void advance_cell(Cell& cell, const CellStep& step) {
    for (std::vector<TermState>* terms : {&cell.capacity, &cell.resistance}) {
        advance_all(*terms, TermKind::CALENDAR, step, cell.soh, 1);
    }
    follow_half_cycle(cell, step);
    const double knee = knee_factor(cell.knee, 100 - sum_percent(cell.capacity));
    for (std::vector<TermState>* terms : {&cell.capacity, &cell.resistance}) {
        advance_all(*terms, TermKind::CYCLING, step, cell.soh, knee);
    }
    cell.soh = std::max(LOWEST_SOH, 1 - sum_percent(cell.capacity) / 100);
}

double resistance_factor(const Cell& cell, double temp_c) {
    const double grown = 1 + cell.resistance_per_percent * (1 - cell.soh);
    if (cell.resistance.empty() && cell.resistance_activation_k == 0) {
        return grown;
    }
    const double kelvin =
        std::clamp(temp_c, cell.resistance_range_c.low, cell.resistance_range_c.high) +
        KELVIN_AT_0_C;
    return (grown + sum_percent(cell.resistance) / 100) *
           std::exp(cell.resistance_activation_k * (1 / kelvin - 1 / REFERENCE_KELVIN));
}

std::vector<Outside> outside_of(const Cell& cell) {
    std::vector<Outside> all;
    for (const std::vector<TermState>* terms : {&cell.capacity, &cell.resistance}) {
        for (const TermState& state : *terms) {
            for (size_t i = 0; i < QUANTITY_COUNT; i++) {
                if (state.outside_s[i] > 0) {
                    all.push_back({state.term.name, static_cast<Quantity>(i), state.term.ranges[i],
                                   state.outside_s[i] / SECONDS_PER_DAY});
                }
            }
        }
    }
    return all;
}

double term_rate(const TermState& state, double temp_c, double volts, double c_rate) {
    return loss_of(growth_rate(state, temp_c, volts, c_rate), state.term.exponent);
}

double depth_factor(const AgeingTerm& term, double depth, double mean_v) {
    const double from_center = mean_v - term.center_v;
    return std::max(0.0, term.stress_constant + term.per_depth * depth +
                             term.per_volt_squared * from_center * from_center);
}

}  // namespace cellwarden::lifetime

#include "tools/lifetime/past.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

#include "phone/battery.h"
#include "state/facts.h"

namespace cellwarden::lifetime {
namespace {

constexpr double CHARGE_UNITS = FULL_CHARGE_UNITS;  // of a full charge
constexpr double LARGEST_LOSS = 90;                 // %
constexpr double UNKNOWN_C_RATE = 0.5;
constexpr double UNKNOWN_DEPTH = 0.5;
constexpr double SMALLEST_DEPTH = 0.02;  // a smaller turn ends no half cycle
constexpr double LARGEST_C_RATE = 3;
constexpr double UNKNOWN_TEMP_C = 25;
constexpr double UNKNOWN_SOC = 0.5;

double volts_at(double soc) {
    return phone::open_circuit_uv(soc) / 1e6;
}

// Returns the middle of a bin; the outermost bins are as wide as their neighbours.
template <size_t N>
double middle_of(const std::array<int32_t, N>& borders, size_t bin) {
    static_assert(N >= 2);
    const double above = bin > 0 ? borders[bin - 1] : 2.0 * borders[0] - borders[1];
    const double below = bin < N ? borders[bin] : 2.0 * borders[N - 1] - borders[N - 2];
    return (above + below) / 2;
}

// Time or charge at the same conditions.
struct Share {
    double amount;  // seconds or full charges
    double temp_c;
    double volts;
    double full_s = 0;  // of the seconds, those at full charge
};

// What the record says about the use of the battery.
struct Use {
    std::vector<Share> times;
    std::vector<Share> charges;
    double charging_c_rate = UNKNOWN_C_RATE;
    double discharging_c_rate = UNKNOWN_C_RATE;
    double depth = UNKNOWN_DEPTH;  // charge per connection
    double mean_v = 0;             // root mean square over the charge
};

// The time at full charge is that at the highest voltages.
void add_times(Use& use, const BattStat& stat, const UsageBins& bins) {
    auto full_s = static_cast<double>(stat.soc_full_total_time);
    for (size_t i = 0; i < stat.vt_cet_table.size(); i++) {
        if (const double seconds = stat.vt_cet_table[i]; seconds > 0) {
            const double of_full_s = std::min(seconds, full_s);
            full_s -= of_full_s;
            use.times.push_back(
                {seconds, middle_of(bins.temperature_decic, i % TEMPERATURE_BIN_COUNT) / 10,
                 middle_of(bins.voltage_uv, i / TEMPERATURE_BIN_COUNT) / 1e6, of_full_s});
        }
    }
    if (use.times.empty() && stat.online_time > 0) {
        use.times.push_back(
            {static_cast<double>(stat.online_time), UNKNOWN_TEMP_C, volts_at(UNKNOWN_SOC)});
    }
}

void add_charges(Use& use, const BattStat& stat, const UsageBins& bins) {
    for (size_t i = 0; i < stat.ct_charge_table.size(); i++) {
        if (const uint32_t charge = stat.ct_charge_table[i]; charge > 0) {
            use.charges.push_back(
                {charge / CHARGE_UNITS,
                 middle_of(bins.temperature_decic, i % TEMPERATURE_BIN_COUNT) / 10,
                 volts_at(middle_of(bins.soc, i / TEMPERATURE_BIN_COUNT) / CHARGE_UNITS)});
        }
    }
    if (use.charges.empty() && stat.total_cycle_count > 0) {
        use.charges.push_back(
            {stat.total_cycle_count / CHARGE_UNITS, UNKNOWN_TEMP_C, volts_at(UNKNOWN_SOC)});
    }
}

double c_rate_of(double charges, double seconds) {
    return charges > 0 && seconds > 0
               ? std::min(charges * SECONDS_PER_HOUR / seconds, LARGEST_C_RATE)
               : UNKNOWN_C_RATE;
}

Use use_of(const BattStat& stat, const UsageBins& bins) {
    Use use;
    add_times(use, stat, bins);
    add_charges(use, stat, bins);
    double charges = 0;
    double volts_squared = 0;
    for (const Share& share : use.charges) {
        charges += share.amount;
        volts_squared += share.amount * share.volts * share.volts;
    }
    use.mean_v = charges > 0 ? std::sqrt(volts_squared / charges) : volts_at(UNKNOWN_SOC);
    const auto at_charger_s = static_cast<double>(stat.off_charge_total_time) +
                              static_cast<double>(stat.on_charge_total_time);
    use.charging_c_rate =
        c_rate_of(charges, at_charger_s - static_cast<double>(stat.soc_full_total_time));
    use.discharging_c_rate = c_rate_of(charges, stat.online_time - at_charger_s);
    const double connections = std::accumulate(
        stat.dev_attach.begin(), stat.dev_attach.end(), 0.0,
        [](double sum, const DevAttachEntry& entry) { return sum + entry.dev_attach_count; });
    if (connections > 0 && charges > 0) {
        use.depth = std::clamp(charges / connections, SMALLEST_DEPTH, 1.0);
    }
    return use;
}

double growth_of(const TermState& state, const Use& use) {
    const AgeingTerm& term = state.term;
    const auto rate = [&](const Share& share, double c_rate) {
        return std::pow(term_rate(state, share.temp_c, share.volts, c_rate), 1 / term.exponent);
    };
    double growth = 0;
    if (term.kind == TermKind::CALENDAR) {
        for (const Share& share : use.times) {
            growth += (term.only_at_full ? share.full_s : share.amount) * rate(share, 0);
        }
        return growth / (term.per * SECONDS_PER_DAY);
    }
    for (const Share& share : use.charges) {
        const double charging = rate(share, use.charging_c_rate);
        growth +=
            share.amount *
            (term.only_charging ? charging : (charging + rate(share, use.discharging_c_rate)) / 2);
    }
    const double factor =
        state.follows_half_cycle ? depth_factor(term, use.depth, use.mean_v) : 1.0;
    return growth / term.per * std::pow(factor, 1 / term.exponent);
}

void set_loss(TermState& state, double percent) {
    state.lost_percent = percent;
    state.grown = std::pow(percent, 1 / state.term.exponent);
}

}  // namespace

int64_t first_use_s(const Profile& profile, const BattStat& stat) {
    const auto established_s = static_cast<int64_t>(stat.initialized_time);
    const bool is_known = wall_clock_is_set(established_s) && established_s < profile.start_wall_s;
    return is_known ? established_s : profile.start_wall_s - stat.online_time;
}

std::optional<double> learned_loss(const Profile& profile, const BattStat& stat) {
    if (stat.fcc_mah[0] == 0) {
        return {};
    }
    const double new_mah = profile.design_mah * profile.capacity_percent / 100;
    return std::clamp(100 * (1 - stat.fcc_mah[0] / new_mah), 0.0, LARGEST_LOSS);
}

Cell aged_cell(const Profile& profile, const BattStat& stat, const UsageBins& bins) {
    Cell cell = begin_cell(profile.cell);
    const Use use = use_of(stat, bins);
    double believed = 0;
    for (std::vector<TermState>* terms : {&cell.capacity, &cell.resistance}) {
        for (TermState& state : *terms) {
            set_loss(state, std::pow(growth_of(state, use), state.term.exponent));
            believed += terms == &cell.capacity ? state.lost_percent : 0;
        }
    }
    const double lost = learned_loss(profile, stat).value_or(std::min(believed, LARGEST_LOSS));
    for (std::vector<TermState>* terms : {&cell.capacity, &cell.resistance}) {
        for (TermState& state : *terms) {
            if (believed > 0) {
                set_loss(state, state.lost_percent * lost / believed);
            } else if (terms == &cell.capacity) {
                set_loss(state, lost / static_cast<double>(terms->size()));
            }
        }
    }
    cell.soh = 1 - lost / 100;
    return cell;
}

}  // namespace cellwarden::lifetime

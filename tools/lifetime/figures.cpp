#include "tools/lifetime/figures.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <numeric>
#include <ostream>
#include <sstream>

#include "common/text.h"
#include "state/facts.h"

namespace cellwarden::lifetime {
namespace {

using nlohmann::ordered_json;

constexpr double MICROPERCENT = 1e6;
constexpr int NAME_WIDTH = 40;
constexpr int VALUE_WIDTH = 14;

double days(int64_t seconds) {
    return static_cast<double>(seconds) / static_cast<double>(SECONDS_PER_DAY);
}

double hours(uint64_t seconds) {
    return static_cast<double>(seconds) / SECONDS_PER_HOUR;
}

uint32_t attachments(const BattStat& stat) {
    return std::accumulate(
        stat.dev_attach.begin(), stat.dev_attach.end(), 0U,
        [](uint32_t sum, const DevAttachEntry& entry) { return sum + entry.dev_attach_count; });
}

// Returns a number with at most four decimals and no trailing zeros.
std::string number_text(const ordered_json& value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(4) << value.get<double>();
    std::string digits = text.str();
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.ends_with('.')) {
        digits.pop_back();
    }
    return digits;
}

void print_row(std::ostream& out, const std::string& name, const std::string& a,
               const std::string& b, const std::string& difference) {
    out << std::left << std::setw(NAME_WIDTH) << name << std::right << std::setw(VALUE_WIDTH) << a
        << std::setw(VALUE_WIDTH) << b << std::setw(VALUE_WIDTH) << difference << '\n';
}

// Returns the n-th level change as "2 on day 183"; "-" if there are fewer changes.
std::string change_text(const ordered_json& levels, size_t n) {
    if (n >= levels.size()) {
        return "-";
    }
    return number_text(levels[n].at("level")) + " on day " +
           std::to_string(levels[n].at("online_days").get<int>());
}

}  // namespace

ordered_json figures_of(const Life& life, uint32_t event_count,
                        const std::vector<LevelChange>& changes) {
    const ServiceState& state = life.state;
    const BattStat& stat = life.stat;
    const Levels levels = levels_of(state);
    ordered_json summary;
    summary["figures"] = {
        {"days lived", days(life.time_s)},
        {"days online", days(state.usage.online_time)},
        {"level", state.levels.soft_charge_mode},
        {"level by throughput", levels.by_throughput},
        {"level by Arrhenius", levels.by_arrhenius},
        {"level by full stay", levels.by_full_stay},
        {"state of health, true, %", life.phone.battery.state_of_health * 100},
        {"state of health, user, %", state.health.latest_user_soh / SOH_PER_PERCENT},
        {"state of health, raw, %", state.health.latest_raw_soh / SOH_PER_PERCENT},
        {"state of health, filtered, %", state.health.latest_filtered_soh / SOH_PER_PERCENT},
        {"state of health, predicted, %", state.health.latest_predicted_soh / SOH_PER_PERCENT},
        {"full charges put in", stat.total_cycle_count / 1e4},
        {"Arrhenius ageing, s at 45 degC", stat.total_arrhenius},
        {"lost by full stay, %", stat.total_full_stay_cap_degradation / MICROPERCENT},
        {"lost by charging, %", stat.total_cycle_degradation / MICROPERCENT},
        {"hours at full charge", hours(stat.soc_full_total_time)},
        {"hours warm (45 degC or more)", hours(stat.jeita_warm_total_time)},
        {"hours charging at 0.8C or more", hours(stat.over_08c_total_time)},
        {"highest battery temperature, degC", stat.max_temp / 10.0},
        {"lowest battery temperature, degC", stat.min_temp / 10.0},
        {"charger attachments", attachments(stat)},
        {"shutdowns with an empty battery", stat.soc0_shutdown_cnt},
        {"connector heat episodes", state.heat.usb_connector_heat_count},
        {"restarts", life.restarts},
        {"capacity-learning events", stat.learning_total_count},
        {"events sent", event_count},
    };
    summary["cell"] = life.profile.cell.name;
    summary["outside"] = ordered_json::array();
    for (const Outside& outside : outside_of(life.cell)) {
        summary["outside"].push_back(
            {{"term", outside.term},
             {"quantity", QUANTITY_NAMES[static_cast<size_t>(outside.quantity)]},
             {"range", {outside.range.low, outside.range.high}},
             {"days", outside.days}});
    }
    summary["levels"] = ordered_json::array();
    for (const LevelChange& change : changes) {
        summary["levels"].push_back(
            {{"online_days", days(change.online_time_s)}, {"level", change.level}});
    }
    return summary;
}

std::string policy_name(const ordered_json& summary) {
    return summary.at("policy").at("name").get<std::string>();
}

std::vector<std::string> doubts_of_comparison(const ordered_json& a, const ordered_json& b) {
    std::vector<std::string> doubts;
    for (const char* const key :
         {"profile", "profile_digest", "cell_digest", "seed", "years_asked", "years_lived"}) {
        // Complete lives of the same length end within a step of each other.
        const bool may_differ = std::string_view(key) == "years_lived" &&
                                a.at("complete").get<bool>() && b.at("complete").get<bool>();
        if (a.at(key) != b.at(key) && !may_differ) {
            doubts.push_back(std::string(key) + ": " + a.at(key).dump() + " and " +
                             b.at(key).dump());
        }
    }
    const auto digest = [](const ordered_json& summary) {
        return summary.contains("from") ? summary.at("from").at("digest") : ordered_json();
    };
    if (digest(a) != digest(b)) {
        doubts.push_back("from: " + digest(a).dump() + " and " + digest(b).dump());
    }
    return doubts;
}

bool print_comparison(std::ostream& out, const ordered_json& a, const ordered_json& b) {
    const ordered_json& figures_a = a.at("figures");
    const ordered_json& figures_b = b.at("figures");
    print_row(out, "", "A", "B", "B - A");
    for (const auto& item : figures_a.items()) {
        if (!figures_b.contains(item.key())) {
            continue;
        }
        const ordered_json& other = figures_b.at(item.key());
        const double difference = other.get<double>() - item.value().get<double>();
        print_row(out, printable(item.key()), number_text(item.value()), number_text(other),
                  difference == 0 ? "" : (difference > 0 ? "+" : "") + number_text(difference));
    }
    const ordered_json& levels_a = a.at("levels");
    const ordered_json& levels_b = b.at("levels");
    for (size_t n = 0; n < std::max(levels_a.size(), levels_b.size()); n++) {
        print_row(out, "level change " + std::to_string(n + 1), change_text(levels_a, n),
                  change_text(levels_b, n), "");
    }
    return figures_a == figures_b && levels_a == levels_b;
}

}  // namespace cellwarden::lifetime

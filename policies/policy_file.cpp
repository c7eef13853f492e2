#include "policies/policy_file.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "common/json_reader.h"

namespace cellwarden {
namespace {

using nlohmann::ordered_json;

// The range that a file may contain; policy_fault() checks what the rules can work with.
struct Range {
    double low = -1e9;
    double high = 1e9;
    bool widened = false;  // the figure is the nearest double
};

constexpr Range WIDENED = {.widened = true};

// Passes each figure to `visit`: the object that contains it ("" is the top), its key, the figure,
// and its range. The names are those that policy_fault() returns.
template <typename AnyPolicy, typename Visit>
void visit_figures(AnyPolicy& policy, const Visit& visit) {
    auto& [name, about, rules, driver] = policy;
    visit("arrhenius", "activation_k", rules.arrhenius.activation_k, WIDENED);
    visit("arrhenius", "knee_uv", rules.arrhenius.knee_uv, Range{});
    visit("arrhenius", "low_offset", rules.arrhenius.low_offset, WIDENED);
    visit("arrhenius", "low_slope", rules.arrhenius.low_slope, WIDENED);
    visit("arrhenius", "high_offset", rules.arrhenius.high_offset, WIDENED);
    visit("arrhenius", "high_slope", rules.arrhenius.high_slope, WIDENED);
    visit("arrhenius", "offset", rules.arrhenius.offset, WIDENED);
    visit("arrhenius", "numerator", rules.arrhenius.numerator, WIDENED);
    visit("full_stay", "voltage_slope", rules.full_stay.voltage_slope, Range{});
    visit("full_stay", "activation_k", rules.full_stay.activation_k, Range{});
    visit("full_stay", "offset", rules.full_stay.offset, Range{});
    visit("charge_cycle", "voltage_slope", rules.charge_cycle.voltage_slope, Range{});
    visit("charge_cycle", "activation_k", rules.charge_cycle.activation_k, Range{});
    visit("charge_cycle", "offset", rules.charge_cycle.offset, Range{});
    visit("", "cycle_count_borders", rules.cycle_count_borders, Range{});
    visit("", "arrhenius_raise_from", rules.arrhenius_raise_from, Range{});
    visit("", "arrhenius_lower_below", rules.arrhenius_lower_below, Range{});
    visit("", "capacity_kept_percent", rules.capacity_kept_percent, Range{});
    visit("", "rise_from_percent", rules.rise_from_percent, Range{});
    visit("", "top_rising_level", rules.top_rising_level, Range{});
    visit("", "smoothing_from_cycle_count", rules.smoothing_from_cycle_count, Range{});
    visit("", "level_factors", rules.level_factors, Range{});
    visit("", "step_factor", rules.step_factor, Range{});
    visit("", "step_factor_low", rules.step_factor_low, Range{});
    visit("", "low_soh_percent", rules.low_soh_percent, Range{});
    visit("bins", "voltage_uv", rules.bins.voltage_uv, Range{});
    visit("bins", "temperature_decic", rules.bins.temperature_decic, Range{});
    visit("bins", "soc", rules.bins.soc, Range{});
    visit("driver", "fast_charge_c_rate", driver.fast_charge_c_rate, Range{0.01, 10});
    visit("driver", "float_voltage_mv", driver.float_voltage_mv, Range{3000, 5000});
    visit("driver", "current_share", driver.current_share, Range{0.01, 1});
    visit("driver", "zone_below_c", driver.zone_below_c, Range{-40, 100});
    visit("driver", "zone_current_share", driver.zone_current_share, Range{0, 1});
    visit("driver", "zone_voltage_drop_mv", driver.zone_voltage_drop_mv, Range{0, 1000});
}

// Returns the decimal in a JSON number ("-13.96", "1e-05"), rounded once: its digits as an integer,
// times or divided by a power of ten. Both are exact.
extended decimal(const std::string& text) {
    int64_t digits = 0;
    int power = 0;
    bool past_point = false;
    size_t at = text.starts_with('-') ? 1 : 0;
    for (; at < text.size() && text[at] != 'e'; at++) {
        if (text[at] == '.') {
            past_point = true;
        } else {
            digits = digits * 10 + (text[at] - '0');
            power -= past_point ? 1 : 0;
        }
    }
    power += at < text.size() ? std::stoi(text.substr(at + 1)) : 0;
    extended scale = 1;
    for (int i = 0; i < std::abs(power); i++) {
        scale *= 10;
    }
    const extended size = static_cast<extended>(digits);
    const extended value = power < 0 ? size / scale : size * scale;
    return text.starts_with('-') ? -value : value;
}

void read_figure(const JsonPlace& at, double& figure, const Range& range) {
    figure = read_number(at, range.low, range.high);
}

void read_figure(const JsonPlace& at, extended& figure, const Range& range) {
    const double number = read_number(at, range.low, range.high);
    // The library prints the shortest decimal that names the double: the one in the file.
    figure = range.widened ? extended{number} : decimal(at.value.dump());
}

template <typename Integer>
requires std::is_integral_v<Integer>
void read_figure(const JsonPlace& at, Integer& figure, const Range& /*range*/) {
    using Limits = std::numeric_limits<Integer>;
    figure = static_cast<Integer>(read_integer(at, Limits::min(), Limits::max()));
}

template <typename Figure, size_t COUNT>
void read_figure(const JsonPlace& at, std::array<Figure, COUNT>& figures, const Range& range) {
    if (!at.value.is_array() || at.value.size() != COUNT) {
        fail(at, "an array of " + std::to_string(COUNT) + " numbers");
    }
    for (size_t i = 0; i < COUNT; i++) {
        read_figure(element(at, i), figures[i], range);
    }
}

template <typename Figure>
ordered_json json_of(const Figure& figure) {
    if constexpr (std::is_same_v<Figure, extended>) {
        return static_cast<double>(figure);
    } else {
        return figure;
    }
}

template <typename Figure, size_t COUNT>
ordered_json json_of(const std::array<Figure, COUNT>& figures) {
    ordered_json array = ordered_json::array();
    for (const Figure& figure : figures) {
        array.push_back(json_of(figure));
    }
    return array;
}

void check_policy(const CarePolicy& policy, const std::filesystem::path& file) {
    const auto& borders = policy.driver.zone_below_c;
    const bool rises =
        std::adjacent_find(borders.begin(), borders.end(), std::greater_equal<>()) == borders.end();
    const char* const fault = rises ? policy_fault(policy.rules) : "driver.zone_below_c";
    if (fault != nullptr) {
        std::string pointer = std::string("/") + fault;
        std::replace(pointer.begin(), pointer.end(), '.', '/');
        const nlohmann::json figures = policy_json(policy);
        fail({figures.at(nlohmann::json::json_pointer(pointer)), fault, file},
             "figures that fit each other and the limits of the rules' arithmetic");
    }
}

}  // namespace

CarePolicy parse_policy(const std::string& text, const std::filesystem::path& file) {
    const nlohmann::json document = parse_document(text, file);
    CarePolicy policy;
    policy.name = file.stem();
    std::map<std::string, Handlers> objects;
    visit_figures(policy,
                  [&](const char* object, const char* key, auto& figure, const Range& range) {
                      objects[object][key] = [&figure, range](const JsonPlace& at) {
                          read_figure(at, figure, range);
                      };
                  });
    Handlers top = objects[""];
    top["about"] = text_into(policy.about);
    for (const auto& [object, figures] : objects) {
        if (!object.empty()) {
            top[object] = [&fields = figures](const JsonPlace& at) { read_object(at, fields); };
        }
    }
    read_object({document, "", file}, top);
    check_policy(policy, file);
    return policy;
}

CarePolicy load_policy(const std::filesystem::path& file) {
    const std::vector<uint8_t> bytes = read_input(file);
    return parse_policy({bytes.begin(), bytes.end()}, file);
}

ordered_json policy_json(const CarePolicy& policy) {
    ordered_json json = {{"about", policy.about}};
    visit_figures(policy,
                  [&](const char* object, const char* key, const auto& figure, const Range&) {
                      (*object == '\0' ? json : json[object])[key] = json_of(figure);
                  });
    return json;
}

}  // namespace cellwarden

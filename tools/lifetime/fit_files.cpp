// The tables that a fit reads, and the files that it writes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "common/input.h"
#include "common/text.h"
#include "phone/battery.h"
#include "tools/lifetime/fit.h"
#include "tools/lifetime/run_directory.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

struct Measure {
    std::string name;
    double low;
    double high;
};

// Rows of numbers in the order of the wanted columns; NaN where the file does not have the column.
std::vector<std::vector<double>> read_table(const fs::path& file,
                                            const std::vector<Measure>& columns) {
    const std::vector<uint8_t> bytes = read_input(file);
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    std::vector<size_t> targets;  // the index of each of the file's columns in `columns`
    std::vector<std::vector<double>> rows;
    std::string line;
    for (int number = 1; std::getline(stream, line); number++) {
        line.erase(line.find_last_not_of(" \r") + 1);
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        const auto fail = [&](const std::string& reason) {
            throw InputError(file.string() + ":" + std::to_string(number) + ": " + reason);
        };
        std::istringstream cells(line);
        std::vector<double> row(columns.size(), NAN);
        const bool is_head = targets.empty();
        size_t at = 0;
        for (std::string cell; std::getline(cells >> std::ws, cell, ','); at++) {
            cell.erase(cell.find_last_not_of(' ') + 1);
            if (is_head) {
                const auto found =
                    std::find_if(columns.begin(), columns.end(),
                                 [&](const Measure& column) { return column.name == cell; });
                if (found == columns.end()) {
                    fail("unknown column '" + cell + "'");
                }
                targets.push_back(static_cast<size_t>(found - columns.begin()));
                continue;
            }
            if (at >= targets.size()) {
                fail("more values than columns");
            }
            const Measure& column = columns[targets[at]];
            char* end = nullptr;
            const double value = strtod(cell.c_str(), &end);
            if (cell.empty() || *end != '\0' || !(value >= column.low && value <= column.high)) {
                std::ostringstream range;
                range << column.low << " to " << column.high;
                fail(column.name + ": expected a number from " + range.str() + ", found '" + cell +
                     "'");
            }
            row[targets[at]] = value;
        }
        if (!is_head && at < targets.size()) {
            fail("fewer values than columns");
        }
        if (!is_head) {
            rows.push_back(row);
        }
    }
    if (rows.empty()) {
        throw InputError(file.string() + ": has no rows of numbers");
    }
    return rows;
}

void require_column(const fs::path& file, const char* name, double value) {
    if (std::isnan(value)) {
        throw InputError(file.string() + ": has no column " + name);
    }
}

double value_of(const FittedModel& model, const char* name) {
    const auto found =
        std::find_if(model.fit.estimates.begin(), model.fit.estimates.end(),
                     [&](const Parameter& estimate) { return estimate.name == name; });
    return found->value;
}

// Returns the value with `decimals` decimals, as the policy has it.
double rounded(double value, int decimals) {
    const double scale = std::pow(10, decimals);
    return std::round(value * scale) / scale;
}

ordered_json ranges_json(const std::array<Range, QUANTITY_COUNT>& ranges) {
    ordered_json json = ordered_json::object();
    for (size_t i = 0; i < QUANTITY_COUNT; i++) {
        if (!std::isinf(ranges[i].low)) {
            json[QUANTITY_NAMES[i]] = {ranges[i].low, ranges[i].high};
        }
    }
    return json;
}

ordered_json loss_json(const FittedModel& model) {
    return {{"voltage_slope", rounded(value_of(model, "voltage_slope"), 3)},
            {"activation_k", rounded(value_of(model, "activation_k"), 1)},
            {"offset", rounded(value_of(model, "offset"), 3)}};
}

// Returns a number as the quotient of whole numbers that the policy rounds once.
std::string quotient_text(double value, int decimals) {
    const auto scale = std::llround(std::pow(10, decimals));
    return "extended{" + std::to_string(std::llround(value * static_cast<double>(scale))) + "} / " +
           std::to_string(scale);
}

std::string loss_text(const ordered_json& loss) {
    return "{.voltage_slope = " + quotient_text(loss.at("voltage_slope"), 3) +
           ",\n     .activation_k = " + quotient_text(loss.at("activation_k"), 1) +
           ",\n     .offset = " + quotient_text(loss.at("offset"), 3) + "}";
}

void print_model(const FittedModel& model) {
    if (!model.measured.empty()) {
        printf("%s: %zu measurements, residuals of %.3g %%\n", model.name.c_str(),
               model.measured.size(), model.fit.deviation);
    } else {
        printf("%s: from calendar\n", model.name.c_str());
    }
    for (const Parameter& estimate : model.fit.estimates) {
        if (estimate.held) {
            printf("  %-18s %12.5g  held\n", estimate.name.c_str(), estimate.value);
        } else {
            printf("  %-18s %12.5g ± %.2g\n", estimate.name.c_str(), estimate.value,
                   estimate.error);
        }
    }
}

// A panel of the picture: residuals over the losses that the model has.
std::string panel_svg(const FittedModel& model, int left, int top) {
    constexpr int WIDTH = 400;
    constexpr int HEIGHT = 220;
    double most = 0.1;
    double widest = std::max(0.1, 2 * model.fit.deviation);
    for (size_t i = 0; i < model.measured.size(); i++) {
        most = std::max(most, model.measured[i] - model.fit.residuals[i]);
        widest = std::max(widest, std::abs(model.fit.residuals[i]));
    }
    const auto x = [&](double loss) { return left + std::max(0.0, loss) / most * WIDTH; };
    const auto y = [&](double residual) { return top + (1 - residual / widest) * HEIGHT / 2; };
    std::ostringstream svg;
    svg.precision(6);
    const auto text = [&](double at_x, double at_y, const char* anchor, const std::string& value) {
        svg << "<text x=\"" << at_x << "\" y=\"" << at_y << "\" text-anchor=\"" << anchor << "\">"
            << value << "</text>\n";
    };
    const auto number = [](double value) {
        std::ostringstream shown;
        shown.precision(2);
        shown << value;
        return shown.str();
    };
    svg << "<rect x=\"" << left << "\" y=\"" << top << "\" width=\"" << WIDTH << "\" height=\""
        << HEIGHT << "\" fill=\"none\" stroke=\"#999\"/>\n"
        << "<rect x=\"" << left << "\" y=\"" << y(2 * model.fit.deviation) << "\" width=\"" << WIDTH
        << "\" height=\"" << y(-2 * model.fit.deviation) - y(2 * model.fit.deviation)
        << "\" fill=\"#eee\"/>\n"
        << "<line x1=\"" << left << "\" x2=\"" << left + WIDTH << "\" y1=\"" << y(0) << "\" y2=\""
        << y(0) << "\" stroke=\"#666\"/>\n";
    text(left, top - 8, "start", model.name);
    text(left - 6, y(widest) + 10, "end", "+" + number(widest));
    text(left - 6, y(0) + 4, "end", "0");
    text(left - 6, y(-widest), "end", "-" + number(widest));
    text(left, top + HEIGHT + 16, "start", "0");
    text(left + WIDTH, top + HEIGHT + 16, "end", number(most) + " % lost, model");
    for (size_t i = 0; i < model.measured.size(); i++) {
        svg << "<circle cx=\"" << x(model.measured[i] - model.fit.residuals[i]) << "\" cy=\""
            << y(model.fit.residuals[i]) << "\" r=\"3\" fill=\"#2166ac\" fill-opacity=\"0.6\">"
            << "<title>" << model.rows[i] << ": lost " << model.measured[i] << " %, residual "
            << model.fit.residuals[i] << " %</title></circle>\n";
    }
    return svg.str();
}

}  // namespace

std::vector<CalendarRow> read_calendar_table(const fs::path& file) {
    std::vector<CalendarRow> rows;
    for (const auto& row : read_table(file, {{"temperature_c", -40, 100},
                                             {"days", 0.01, 10'000},
                                             {"capacity_percent", 1, 120},
                                             {"voltage_v", 2, 5},
                                             {"soc_percent", 0, 100}})) {
        require_column(file, "temperature_c", row[0]);
        require_column(file, "days", row[1]);
        require_column(file, "capacity_percent", row[2]);
        const double voltage_v =
            std::isnan(row[3]) ? phone::open_circuit_uv(row[4] / 100) / 1e6 : row[3];
        if (std::isnan(row[3])) {
            require_column(file, "voltage_v or soc_percent", row[4]);
        }
        rows.push_back({row[0], voltage_v, row[1], 100 - row[2]});
    }
    return rows;
}

std::vector<CyclingRow> read_cycling_table(const fs::path& file) {
    const std::vector<Measure> columns = {
        {"temperature_c", -40, 100}, {"c_rate", 0.001, 20},       {"depth_percent", 0.1, 100},
        {"voltage_v", 2, 5},         {"full_charges", 0.01, 1e5}, {"capacity_percent", 1, 120}};
    std::vector<CyclingRow> rows;
    for (const auto& row : read_table(file, columns)) {
        for (size_t i = 0; i < columns.size(); i++) {
            require_column(file, columns[i].name.c_str(), row[i]);
        }
        rows.push_back({row[0], row[1], row[2] / 100, row[3], row[4], 100 - row[5]});
    }
    return rows;
}

ordered_json fitted_cell(const CellFit& fit) {
    const auto c = [&](const char* name) { return value_of(fit.calendar, name); };
    const auto u = [&](const char* name) { return value_of(fit.cycling, name); };
    const double knee_v = static_cast<double>(POLICY.arrhenius.knee_uv) / 1e6;
    ordered_json calendar = {
        {"source", "Fitted to calendar tests."},
        {"percent", c("percent")},
        {"per_days", 365.25},
        {"exponent", c("exponent")},
        {"temperature", {{"activation_k", c("activation_k")}, {"reference_c", 25}}},
        {"voltage",
         {{"of", "open_circuit"},
          {"per_volt", c("per_volt")},
          {"reference_v", knee_v},
          {"knee_v", knee_v},
          {"per_volt_above", c("per_volt_above")}}},
        {"range", ranges_json(fit.calendar_ranges)}};
    ordered_json cycling = {
        {"source", "Fitted to cycling tests."},
        {"percent", u("percent")},
        {"per_charges", 100},
        {"exponent", u("exponent")},
        {"counts", "charging"},
        {"temperature", {{"activation_k", u("activation_k")}, {"reference_c", 25}}},
        {"voltage", {{"of", "charger"}, {"per_volt", u("per_volt")}, {"reference_v", 4.48}}},
        {"c_rate", {{"per_c", u("per_c")}, {"reference", 0.5}}},
        {"half_cycle", {{"constant", 1 - u("depth_share")}, {"per_depth", u("depth_share")}}},
        {"range", ranges_json(fit.cycling_ranges)}};
    ordered_json cold = {
        {"name", "cold charging"},
        {"source", "Fitted to cycling tests."},
        {"percent", std::max(0.0, u("cold_percent"))},
        {"per_charges", 100},
        {"exponent", 1},
        {"counts", "charging"},
        {"temperature", {{"activation_k", -u("cold_activation_k")}, {"reference_c", 0}}},
        {"c_rate", {{"per_c", u("cold_per_c")}, {"reference", 0.5}}}};
    return {{"about", "Fitted to laboratory tables"},
            {"capacity",
             {{"calendar", ordered_json::array({calendar})},
              {"cycling", ordered_json::array({cycling, cold})}}},
            {"resistance",
             {{"source", "Not fitted: the figure of the textbook cell."},
              {"percent_per_percent_lost", 3}}}};
}

ordered_json fitted_policy(const CellFit& fit) {
    const double activation_k = rounded(value_of(fit.arrhenius, "activation_k"), 2);
    const double low_slope = rounded(value_of(fit.arrhenius, "low_slope"), 3);
    const double high_slope = rounded(value_of(fit.arrhenius, "high_slope"), 3);
    const auto offset = static_cast<double>(POLICY.arrhenius.offset);
    const auto numerator = static_cast<double>(POLICY.arrhenius.numerator);
    const double knee_v = POLICY.arrhenius.knee_uv / 1e6;
    // The rate is 1 at 45 degC and 4.48 V, and the two lines meet at the knee.
    const double high_offset =
        std::log(numerator) - offset - activation_k / (45 + KELVIN_AT_0_C) - high_slope * 4.48;
    const double low_offset = high_offset + (high_slope - low_slope) * knee_v;
    return {{"arrhenius",
             {{"activation_k", activation_k},
              {"knee_uv", POLICY.arrhenius.knee_uv},
              {"low_offset", rounded(low_offset, 3)},
              {"low_slope", low_slope},
              {"high_offset", rounded(high_offset, 3)},
              {"high_slope", high_slope},
              {"offset", offset},
              {"numerator", numerator}}},
            {"full_stay", loss_json(fit.full_stay)},
            {"charge_cycle", loss_json(fit.charge_cycle)}};
}

std::string policy_text(const CellFit& fit) {
    const ordered_json policy = fitted_policy(fit);
    std::string text = "// For POLICY of product/policy.h.\n.arrhenius =\n    ";
    char separator = '{';
    for (const auto& item : policy.at("arrhenius").items()) {
        text += separator + std::string(separator == ',' ? "\n     ." : ".") + item.key() + " = " +
                item.value().dump();
        separator = ',';
    }
    return text + "},\n.full_stay =\n    " + loss_text(policy.at("full_stay")) +
           ",\n.charge_cycle =\n    " + loss_text(policy.at("charge_cycle")) + ",\n";
}

std::string residuals_svg(const CellFit& fit) {
    std::string svg =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 960 620\" "
        "font-family=\"sans-serif\" "
        "font-size=\"12\">\n<rect width=\"960\" height=\"620\" fill=\"white\"/>\n"
        "<text x=\"60\" y=\"20\">Residuals in % of the design capacity: measured minus model; "
        "grey: two standard deviations</text>\n";
    int panel = 0;
    for (const FittedModel* model :
         {&fit.calendar, &fit.cycling, &fit.full_stay, &fit.charge_cycle}) {
        svg += panel_svg(*model, 60 + panel % 2 * 470, 60 + panel / 2 * 290);
        panel++;
    }
    return svg + "</svg>\n";
}

int run_fit(const FitOptions& options) {
    const CellFit fit =
        fit_cell(read_calendar_table(options.calendar), read_cycling_table(options.cycling));
    for (const FittedModel* model :
         {&fit.calendar, &fit.cycling, &fit.full_stay, &fit.charge_cycle, &fit.arrhenius}) {
        print_model(*model);
    }
    for (const std::string& warning : fit.warnings) {
        printf("warning: %s\n", warning.c_str());
    }
    fs::create_directories(options.out);
    write_file(options.out / "cell.json", fitted_cell(fit).dump(4) + "\n");
    write_file(options.out / "policy.json", fitted_policy(fit).dump(4) + "\n");
    write_file(options.out / "policy.txt", policy_text(fit));
    write_file(options.out / "residuals.svg", residuals_svg(fit));
    printf("cell.json, policy.json, policy.txt and residuals.svg are in %s\n",
           printable(options.out.string()).c_str());
    return 0;
}

}  // namespace cellwarden::lifetime

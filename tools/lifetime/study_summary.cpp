#include "tools/lifetime/study_summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numeric>
#include <ostream>

#include "tools/lifetime/outcomes.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

constexpr int RESAMPLES = 1000;
constexpr size_t LOSERS = 10;
constexpr double ABOVE_PERCENT = 80;

// Columns of quantiles and differences.
constexpr std::array SUMMARY_COLUMNS = {TRUE_SOH,        SHOWN_SOH,        PREDICTED_MINUS_TRUE,
                                        FULL_CHARGE_MAH, WITHHELD_PERCENT, USE_HOURS,
                                        CHARGE_MINUTES,  TIMES_EMPTY};

// A column of outcomes.csv: the value of each phone, by policy and year.
struct Values {
    size_t years;
    std::vector<std::vector<double>> of{};
    [[nodiscard]] const std::vector<double>& at(size_t policy, size_t year) const {
        return of[policy * years + year];
    }
};

Values values_of(const Study& study, const fs::path& directory, Column column) {
    Values values{.years = year_ends(study.years).size()};
    values.of.resize(study.policies.size() * values.years);
    std::ifstream stream(directory / "outcomes.csv", std::ios::binary);
    std::string line;
    std::getline(stream, line);
    for (size_t row = 0; std::getline(stream, line); row++) {
        size_t start = 0;
        for (size_t skipped = 0; skipped < 4 + column; skipped++) {
            start = line.find(',', start) + 1;
        }
        const bool is_empty = start == line.size() || line[start] == ',';
        values.of[row % values.of.size()].push_back(is_empty ? EMPTY
                                                             : std::stod(line.substr(start)));
    }
    return values;
}

double rounded(double value) {
    return std::isfinite(value) ? std::round(value * 1e6) / 1e6 : value;  // JSON has null
}

ordered_json json_of(const MeanInterval& estimate) {
    return {{"mean", rounded(estimate.mean)},
            {"low", rounded(estimate.low)},
            {"high", rounded(estimate.high)}};
}

std::vector<double> filled(std::vector<double> values) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    return values;
}

std::vector<double> differences(const std::vector<double>& values,
                                const std::vector<double>& from) {
    std::vector<double> result(values.size());
    std::transform(values.begin(), values.end(), from.begin(), result.begin(), std::minus<>());
    return result;
}

void add_quantiles(ordered_json& json, const Study& study, const Values& values, Column column) {
    const std::vector<double> ends = year_ends(study.years);
    for (size_t policy = 0; policy < study.policies.size(); policy++) {
        for (size_t year = 0; year < ends.size(); year++) {
            std::vector<double> sorted = filled(values.at(policy, year));
            std::sort(sorted.begin(), sorted.end());
            json.push_back({{"policy", study.policies[policy].name},
                            {"column", COLUMNS[column].name},
                            {"year", ends[year]},
                            {"p5", rounded(quantile(sorted, 0.05))},
                            {"p50", rounded(quantile(sorted, 0.50))},
                            {"p95", rounded(quantile(sorted, 0.95))}});
        }
    }
}

void add_differences(ordered_json& json, const Study& study, const Values& values, Column column) {
    const std::vector<double> ends = year_ends(study.years);
    for (size_t policy = 1; policy < study.policies.size(); policy++) {
        for (size_t year = 0; year < ends.size(); year++) {
            const std::vector<double> paired =
                filled(differences(values.at(policy, year), values.at(0, year)));
            ordered_json row = {{"policy", study.policies[policy].name},
                                {"against", study.policies[0].name},
                                {"column", COLUMNS[column].name},
                                {"year", ends[year]},
                                {"phones", paired.size()}};
            if (!paired.empty()) {
                row.update(json_of(estimate_mean(paired, study.seed)));
            }
            json.push_back(row);
        }
    }
}

ordered_json above_80(const Study& study, const Values& true_soh) {
    ordered_json json = ordered_json::array();
    const std::vector<double> ends = year_ends(study.years);
    for (size_t policy = 0; policy < study.policies.size(); policy++) {
        for (size_t year = 0; year < ends.size(); year++) {
            if (ends[year] == 3 || ends[year] == 5) {
                const std::vector<double>& phones = true_soh.at(policy, year);
                const auto above = std::count_if(phones.begin(), phones.end(),
                                                 [](double soh) { return soh > ABOVE_PERCENT; });
                json.push_back({{"policy", study.policies[policy].name},
                                {"year", ends[year]},
                                {"share", rounded(static_cast<double>(above) /
                                                  static_cast<double>(phones.size()))}});
            }
        }
    }
    return json;
}

// Replaces the value of each year by the mean of the years so far.
Values mean_so_far(Values values) {
    for (size_t series = 0; series < values.of.size(); series += values.years) {
        for (size_t phone = 0; phone < values.of[series].size(); phone++) {
            double sum = 0;
            for (size_t year = 0; year < values.years; year++) {
                double& value = values.of[series + year][phone];
                sum += value;
                value = sum / static_cast<double>(year + 1);
            }
        }
    }
    return values;
}

ordered_json gained_and_withheld(const Study& study, const Values& true_soh, const Values& withheld,
                                 const Values& full_charge) {
    ordered_json json = ordered_json::array();
    const std::vector<double> ends = year_ends(study.years);
    for (size_t policy = 1; policy < study.policies.size(); policy++) {
        for (size_t year = 0; year < ends.size(); year++) {
            const auto estimate = [&](const Values& values) {
                return json_of(estimate_mean(
                    differences(values.at(policy, year), values.at(0, year)), study.seed));
            };
            json.push_back({{"policy", study.policies[policy].name},
                            {"against", study.policies[0].name},
                            {"year", ends[year]},
                            {"gained_percent", estimate(true_soh)},
                            {"withheld_percent", estimate(withheld)},
                            {"full_charge_mah", estimate(full_charge)}});
        }
    }
    return json;
}

ordered_json lose_most(const Study& study, const Values& true_soh, const Values& full_charge) {
    ordered_json json = ordered_json::array();
    const size_t last = full_charge.years - 1;
    for (size_t policy = 1; policy < study.policies.size(); policy++) {
        const std::vector<double> change =
            differences(full_charge.at(policy, last), full_charge.at(0, last));
        std::vector<size_t> order(change.size());
        std::iota(order.begin(), order.end(), size_t{0});
        std::stable_sort(order.begin(), order.end(),
                         [&](size_t a, size_t b) { return change[a] < change[b]; });
        order.resize(std::min(order.size(), LOSERS));
        ordered_json phones = ordered_json::array();
        for (const size_t at : order) {
            const StudyPhone phone = phone_of(study, static_cast<int>(at) + 1);
            ordered_json row = {{"phone", phone.number},
                                {"profile", phone.profile.name},
                                {"full_charge_mah", rounded(change[at])},
                                {"gained_percent", rounded(true_soh.at(policy, last)[at] -
                                                           true_soh.at(0, last)[at])}};
            for (size_t i = 0; i < phone.traits.size(); i++) {
                row["traits"][study.varies[i].trait->key] = rounded(phone.traits[i]);
            }
            phones.push_back(row);
        }
        json.push_back({{"policy", study.policies[policy].name},
                        {"against", study.policies[0].name},
                        {"phones", phones}});
    }
    return json;
}

std::string fixed_text(const ordered_json& value) {
    char text[32] = "-";
    if (value.is_number()) {
        (void)snprintf(text, sizeof text, "%.3f", value.get<double>());
    }
    return text;
}

std::string interval_text(const ordered_json& estimate) {
    return estimate.contains("mean")
               ? fixed_text(estimate.at("mean")) + " (" + fixed_text(estimate.at("low")) + " to " +
                     fixed_text(estimate.at("high")) + ")"
               : "-";
}

template <typename... Cells>
void print_row(std::ostream& out, const std::string& first, const Cells&... cells) {
    constexpr size_t FIRST_WIDTH = 48;
    constexpr size_t WIDTH = 14;
    const auto padded = [](const std::string& text, size_t width) {
        return text.size() < width ? std::string(width - text.size(), ' ') + text : " " + text;
    };
    out << "  " << first
        << std::string(first.size() < FIRST_WIDTH ? FIRST_WIDTH - first.size() : 1, ' ');
    (void)(out << ... << padded(cells, WIDTH));
    out << '\n';
}

}  // namespace

double quantile(const std::vector<double>& sorted, double share) {
    if (sorted.empty()) {
        return EMPTY;
    }
    const double place = share * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<size_t>(place);
    const size_t above = std::min(below + 1, sorted.size() - 1);
    return std::lerp(sorted[below], sorted[above], place - static_cast<double>(below));
}

MeanInterval estimate_mean(const std::vector<double>& values, uint64_t seed) {
    const auto count = static_cast<double>(values.size());
    Random random{seed};
    std::vector<double> means(RESAMPLES);
    for (double& mean : means) {
        double sum = 0;
        for (size_t i = 0; i < values.size(); i++) {
            sum += values[static_cast<size_t>(next_share(random) * count)];
        }
        mean = sum / count;
    }
    std::sort(means.begin(), means.end());
    return {std::accumulate(values.begin(), values.end(), 0.0) / count, quantile(means, 0.025),
            quantile(means, 0.975)};
}

ordered_json summary_of(const Study& study, const fs::path& directory) {
    ordered_json summary = provenance_of(study);
    ordered_json quantiles = ordered_json::array();
    ordered_json paired = ordered_json::array();
    for (const Column column : SUMMARY_COLUMNS) {
        const Values values = values_of(study, directory, column);
        add_quantiles(quantiles, study, values, column);
        add_differences(paired, study, values, column);
    }
    const Values true_soh = values_of(study, directory, TRUE_SOH);
    const Values full_charge = values_of(study, directory, FULL_CHARGE_MAH);
    summary["quantiles"] = std::move(quantiles);
    summary["differences"] = std::move(paired);
    summary["above_80"] = above_80(study, true_soh);
    summary["gained_and_withheld"] = gained_and_withheld(
        study, true_soh, mean_so_far(values_of(study, directory, WITHHELD_PERCENT)), full_charge);
    summary["lose_most"] = lose_most(study, true_soh, full_charge);
    return summary;
}

void print_summary(std::ostream& out, const ordered_json& summary) {
    const double last = summary.at("quantiles").back().at("year");
    out << summary.at("phones") << " phones, seed " << summary.at("seed") << ", "
        << summary.at("program").get<std::string>() << "\n\nAfter " << last
        << " years: 5, 50 and 95 % of phones\n";
    for (const auto& row : summary.at("quantiles")) {
        if (row.at("year") == last) {
            print_row(
                out,
                row.at("column").get<std::string>() + ", " + row.at("policy").get<std::string>(),
                fixed_text(row.at("p5")), fixed_text(row.at("p50")), fixed_text(row.at("p95")));
        }
    }
    if (!summary.at("above_80").empty()) {
        out << "\nShare of phones with a true state of health above 80 %\n";
    }
    for (const auto& row : summary.at("above_80")) {
        print_row(out, row.at("policy").get<std::string>() + ", year " + row.at("year").dump(),
                  fixed_text(row.at("share")));
    }
    if (!summary.at("differences").empty()) {
        out << "\nDifferences per phone after " << last << " years: mean (95 % interval)\n";
    }
    for (const auto& row : summary.at("differences")) {
        if (row.at("year") == last) {
            print_row(
                out, row.at("column"),
                row.at("policy").get<std::string>() + " - " + row.at("against").get<std::string>(),
                interval_text(row));
        }
    }
    for (const auto& row : summary.at("gained_and_withheld")) {
        if (row.at("year") == last) {
            out << "\n"
                << row.at("policy").get<std::string>() << " against "
                << row.at("against").get<std::string>() << ": gained "
                << interval_text(row.at("gained_percent")) << " points of true health, withheld "
                << interval_text(row.at("withheld_percent"))
                << " % of the capacity;\nusable full charge "
                << interval_text(row.at("full_charge_mah")) << " mAh\n";
        }
    }
    for (const auto& policy_row : summary.at("lose_most")) {
        out << "\nLose most under " << policy_row.at("policy").get<std::string>()
            << ": usable full charge, true health\n";
        for (const auto& phone : policy_row.at("phones")) {
            print_row(
                out,
                "phone " + phone.at("phone").dump() + ", " + phone.at("profile").get<std::string>(),
                fixed_text(phone.at("full_charge_mah")) + " mAh",
                fixed_text(phone.at("gained_percent")) + " points");
        }
    }
}

}  // namespace cellwarden::lifetime

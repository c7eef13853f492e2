#include "tools/report/subject.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "common/input.h"
#include "common/json_reader.h"
#include "common/text.h"
#include "platform/unit_store.h"
#include "policies/policy_file.h"
#include "tools/report/csv.h"

namespace cellwarden::report {
namespace {

namespace fs = std::filesystem;

constexpr size_t MOST_PHONES = 12;  // as many as a page can show

// --- The series of a life-time run

// Returns the time series of a life-time run; empty if there is none.
std::vector<TrueHealth> true_health_of(const fs::path& path) {
    std::error_code error;
    if (const uintmax_t size = fs::file_size(path, error); error || size == 0) {
        return {};
    }
    const Csv csv = read_csv(path);
    const size_t day = column_of(csv, "online_days");
    const size_t health = column_of(csv, "true_soh");
    std::vector<TrueHealth> days;
    for (size_t row = 0; row < csv.rows.size(); row++) {
        days.push_back({number_at(csv, row, day), number_at(csv, row, health)});
    }
    std::stable_sort(days.begin(), days.end(), [](const TrueHealth& a, const TrueHealth& b) {
        return a.online_days < b.online_days;
    });
    return days;
}

// Returns the policy of a life-time run; the daemon's if the path is not a run's.
Policy policy_of(const fs::path& path) {
    const fs::path file = path / "run.json";
    if (!fs::exists(file)) {
        return POLICY;
    }
    const std::vector<uint8_t> bytes = read_input(file);
    const nlohmann::json run = parse_document({bytes.begin(), bytes.end()}, file);
    const nlohmann::json::json_pointer figures("/policy/figures");
    return run.contains(figures) ? parse_policy(run.at(figures).dump(), file).rules : POLICY;
}

// --- Names

// Returns the components of a path without those at its end that every phone's files have.
std::vector<std::string> parts_of(const std::string& path) {
    static const std::set<std::string> GENERAL = {std::to_string(UNIT_BATT_STAT), "units",
                                                  "outbox"};
    std::vector<std::string> parts;
    for (const fs::path& part : fs::path(path).lexically_normal()) {
        if (!part.empty() && part != "/") {
            parts.push_back(part);
        }
    }
    while (parts.size() > 1 && GENERAL.contains(parts.back())) {
        parts.pop_back();
    }
    return parts.empty() ? std::vector{path} : parts;
}

void drop_common_end(std::vector<std::vector<std::string>>& paths) {
    const auto can_drop = [&](const auto& parts) {
        return parts.size() > 1 && parts.back() == paths.front().back();
    };
    const bool differ = std::any_of(paths.begin(), paths.end(),
                                    [&](const auto& parts) { return parts != paths.front(); });
    while (differ && std::all_of(paths.begin(), paths.end(), can_drop)) {
        for (auto& parts : paths) {
            parts.pop_back();
        }
    }
}

std::string end_of(const std::vector<std::string>& parts, size_t length) {
    std::string end;
    for (size_t i = parts.size() - std::min(length, parts.size()); i < parts.size(); i++) {
        end += (end.empty() ? "" : "/") + parts[i];
    }
    return end;
}

// Returns the shortest ends of the paths that differ from each other, as far as the paths do.
std::vector<std::string> names_of(const std::vector<std::string>& paths) {
    std::vector<std::vector<std::string>> parts;
    size_t longest = 1;
    for (const std::string& path : paths) {
        parts.push_back(parts_of(path));
        longest = std::max(longest, parts.back().size());
    }
    drop_common_end(parts);
    std::vector<std::string> names;
    for (size_t length = 1; length <= longest; length++) {
        names.clear();
        for (const auto& path : parts) {
            names.push_back(end_of(path, length));
        }
        if (std::set<std::string>(names.begin(), names.end()).size() == names.size()) {
            break;
        }
    }
    return names;
}

struct Input {
    std::string path;
    std::string name;
};

std::vector<Input> inputs_of(const std::vector<std::string>& texts) {
    std::vector<Input> inputs;
    std::vector<std::string> unnamed;
    for (const std::string& text : texts) {
        const size_t equals = text.find('=');
        const bool has_name = equals != std::string::npos && equals < text.find('/');
        inputs.push_back(has_name ? Input{text.substr(equals + 1), text.substr(0, equals)}
                                  : Input{text, ""});
        if (!has_name) {
            unnamed.push_back(text);
        }
    }
    const std::vector<std::string> names = names_of(unnamed);
    size_t next = 0;
    for (Input& input : inputs) {
        if (input.name.empty() && next < names.size()) {
            input.name = names[next++];
        }
    }
    return inputs;
}

}  // namespace

std::vector<Subject> load_subjects(const Request& request) {
    std::vector<Subject> subjects;
    const std::vector<Input> inputs = inputs_of(request.inputs);
    for (const auto& [path, name] : inputs) {
        std::vector<decode::BatteryHistory> batteries =
            decode::load_histories({path, request.phones, MOST_PHONES, request.refuse});
        const bool is_one = batteries.size() == 1 && request.phones.empty();
        const fs::path series = fs::path(path) / "series.csv";
        for (decode::BatteryHistory& battery : batteries) {
            const std::string key =
                inputs.size() == 1 ? battery.phone : name + ": " + battery.phone;
            subjects.push_back({printable(is_one ? name : key), std::move(battery), policy_of(path),
                                true_health_of(series)});
        }
    }
    return subjects;
}

}  // namespace cellwarden::report

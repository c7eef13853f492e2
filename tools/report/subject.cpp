#include "tools/report/subject.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "common/input.h"
#include "common/text.h"
#include "platform/unit_store.h"

namespace cellwarden::report {
namespace {

namespace fs = std::filesystem;

constexpr size_t MOST_PHONES = 12;  // as many as a page can show

// --- The series of a life-time run

std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) {
        cells.push_back(cell);
    }
    return cells;
}

// The place of a cell, for messages.
struct SeriesPlace {
    const fs::path& path;
    size_t line;
};

size_t column_of(const std::vector<std::string>& names, const std::string& name,
                 const fs::path& path) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        throw InputError(path.string() + ": column is missing: " + name);
    }
    return static_cast<size_t>(found - names.begin());
}

double number_of(const std::string& cell, const std::string& column, const SeriesPlace& place) {
    double number = 0;
    const char* const end = cell.data() + cell.size();
    const auto [at, error] = std::from_chars(cell.data(), end, number);
    if (error != std::errc() || at != end || !(number >= -1e6 && number <= 1e6)) {
        throw InputError(place.path.string() + ":" + std::to_string(place.line) + ": " + column +
                         ": expected a number from -1e6 to 1e6, found '" + cell.substr(0, 40) +
                         "'");
    }
    return number;
}

// Reads the time series of a life-time run; empty if there is no series.
std::vector<TrueHealth> true_health_of(const fs::path& path) {
    std::vector<TrueHealth> days;
    std::ifstream stream(path);
    std::string line;
    if (!std::getline(stream, line)) {
        return days;
    }
    const std::vector<std::string> names = cells_of(line);
    const size_t day = column_of(names, "online_days", path);
    const size_t health = column_of(names, "true_soh", path);
    for (SeriesPlace place{path, 2}; std::getline(stream, line); place.line++) {
        const std::vector<std::string> cells = cells_of(line);
        if (cells.size() == names.size()) {  // the last row of a stopped run may be truncated
            days.push_back({number_of(cells[day], names[day], place),
                            number_of(cells[health], names[health], place)});
        }
    }
    std::stable_sort(days.begin(), days.end(), [](const TrueHealth& a, const TrueHealth& b) {
        return a.online_days < b.online_days;
    });
    return days;
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
            subjects.push_back(
                {printable(is_one ? name : key), std::move(battery),
                 fs::exists(series) ? true_health_of(series) : std::vector<TrueHealth>{}});
        }
    }
    return subjects;
}

}  // namespace cellwarden::report

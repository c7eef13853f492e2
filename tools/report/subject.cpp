#include "tools/report/subject.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "common/input.h"
#include "decode/verdict.h"
#include "platform/unit_store.h"

namespace cellwarden::report {
namespace {

namespace fs = std::filesystem;

// Returns the path of the record file in a directory of units or of a life-time run, or the path
// itself if it is a file.
fs::path record_path(const fs::path& path) {
    if (!fs::is_directory(path)) {
        return path;
    }
    const std::string unit = std::to_string(UNIT_BATT_STAT);
    return fs::exists(path / "units") ? path / "units" / unit : path / unit;
}

std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) {
        cells.push_back(cell);
    }
    return cells;
}

size_t column_of(const std::vector<std::string>& names, const std::string& name,
                 const fs::path& path) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        throw std::runtime_error(path.string() + ": column is missing: " + name);
    }
    return static_cast<size_t>(found - names.begin());
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
    while (std::getline(stream, line)) {
        const std::vector<std::string> cells = cells_of(line);
        if (cells.size() == names.size()) {  // the last row of a stopped run may be truncated
            days.push_back({std::stod(cells[day]), std::stod(cells[health])});
        }
    }
    return days;
}

}  // namespace

Subject load_subject(const std::string& path, const std::string& name) {
    const fs::path file = record_path(path);
    const std::vector<uint8_t> bytes = read_input(file);
    const decode::Judgement judgement = decode::judge_record(bytes);
    if (!decode::is_kept(judgement)) {
        throw std::runtime_error(file.string() +
                                 ": not a record that the daemon would keep: " + judgement.reason);
    }
    const fs::path series = fs::path(path) / "series.csv";
    Subject subject{
        .name = name,
        .verdict = judgement.name + ": " + judgement.reason,
        .stat = {},
        .true_health = fs::exists(series) ? true_health_of(series) : std::vector<TrueHealth>{}};
    if (subject.name.empty()) {
        const fs::path trimmed = fs::path(path).lexically_normal();
        subject.name =
            trimmed.has_filename() ? trimmed.filename() : trimmed.parent_path().filename();
    }
    memcpy(&subject.stat, bytes.data(), sizeof subject.stat);
    return subject;
}

}  // namespace cellwarden::report

#include "tools/report/subject.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "common/json_reader.h"
#include "decode/verdict.h"
#include "platform/unit_store.h"
#include "policies/policy_file.h"

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
        .policy = policy_of(path),
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

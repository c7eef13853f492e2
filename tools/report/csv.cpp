#include "tools/report/csv.h"

#include <algorithm>
#include <charconv>
#include <fstream>

#include "common/input.h"

namespace cellwarden::report {
namespace {

std::vector<std::string> cells_of(const std::string& line) {
    std::vector<std::string> cells;
    for (size_t start = 0; start <= line.size();) {
        const size_t end = std::min(line.find(',', start), line.size());
        cells.push_back(line.substr(start, end - start));
        start = end + 1;
    }
    return cells;
}

}  // namespace

Csv read_csv(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::string line;
    if (!std::getline(stream, line)) {
        throw InputError(path.string() + ": cannot be read or is empty");
    }
    Csv csv{.path = path, .names = cells_of(line), .rows = {}, .lines = {}};
    for (size_t number = 2; std::getline(stream, line); number++) {
        std::vector<std::string> cells = cells_of(line);
        if (cells.size() == csv.names.size()) {
            csv.rows.push_back(std::move(cells));
            csv.lines.push_back(number);
        }
    }
    return csv;
}

size_t column_of(const Csv& csv, const std::string& name) {
    const auto found = std::find(csv.names.begin(), csv.names.end(), name);
    if (found == csv.names.end()) {
        throw InputError(csv.path.string() + ": column is missing: " + name);
    }
    return static_cast<size_t>(found - csv.names.begin());
}

double number_at(const Csv& csv, size_t row, size_t column) {
    const std::string& cell = csv.rows[row][column];
    double number = 0;
    const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), number);
    if (error != std::errc() || end != cell.data() + cell.size() ||
        !(number >= -1e6 && number <= 1e6)) {
        throw InputError(csv.path.string() + ":" + std::to_string(csv.lines[row]) + ": " +
                         csv.names[column] + ": expected a number from -1e6 to 1e6, found '" +
                         cell.substr(0, 40) + "'");
    }
    return number;
}

}  // namespace cellwarden::report

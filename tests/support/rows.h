// Tables of expected values in files: a line per row, cells separated by ';'. The first line names the
// columns.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace cellwarden::test {

using Row = std::vector<std::string>;

inline std::vector<Row> rows_of(const std::string& file, char separator = ';') {
    std::ifstream stream(file);
    std::vector<Row> rows;
    for (std::string line; std::getline(stream, line);) {
        std::istringstream cells(line + separator);
        rows.emplace_back();
        for (std::string cell; std::getline(cells >> std::ws, cell, separator);) {
            rows.back().push_back(cell);
        }
    }
    return rows;
}

// Returns the rows without the line of column names.
inline std::vector<Row> values_of(const std::string& file) {
    std::vector<Row> rows = rows_of(file);
    rows.erase(rows.begin());
    return rows;
}

inline double number(const Row& row, size_t column) {
    return std::stod(row.at(column));
}

}  // namespace cellwarden::test

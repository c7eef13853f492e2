// Tables in files: a line per row, cells between ';', the first line the names of the columns; '#'
// begins a comment line.
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
        if (line.starts_with('#')) {
            continue;
        }
        std::istringstream cells(line + separator);
        rows.emplace_back();
        for (std::string cell; std::getline(cells >> std::ws, cell, separator);) {
            rows.back().push_back(cell);
        }
    }
    return rows;
}

// The rows without the names of the columns.
inline std::vector<Row> values_of(const std::string& file) {
    std::vector<Row> rows = rows_of(file);
    rows.erase(rows.begin());
    return rows;
}

inline double number(const Row& row, size_t column) {
    return std::stod(row.at(column));
}

}  // namespace cellwarden::test

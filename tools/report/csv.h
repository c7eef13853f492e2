// A table in a CSV file of the simulator: a line of column names, then rows. No cell has quotes.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace cellwarden::report {

struct Csv {
    std::filesystem::path path;
    std::vector<std::string> names;
    std::vector<std::vector<std::string>> rows;  // each with a cell per name
    std::vector<size_t> lines;                   // of the rows in the file, from 1
};

// Reads a file. A row with another number of cells is left out: the last row of a stopped run may
// be truncated. Throws InputError.
Csv read_csv(const std::filesystem::path& path);

// Returns the position of a column. Throws InputError if it is missing.
size_t column_of(const Csv& csv, const std::string& name);

// Returns the number in a cell. Throws InputError if it is not a number from -1e6 to 1e6.
double number_at(const Csv& csv, size_t row, size_t column);

}  // namespace cellwarden::report

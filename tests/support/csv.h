// Lists for comparison with the code: rows of fields, separated by commas; '#' starts a comment line.
#pragma once

#include <string>
#include <vector>

namespace cellwarden::test {

std::vector<std::vector<std::string>> read_csv(const std::string& file);

std::vector<std::string> split(const std::string& text, char separator);

}  // namespace cellwarden::test

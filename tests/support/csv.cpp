#include "support/csv.h"

#include <gtest/gtest.h>

#include <fstream>

namespace cellwarden::test {

std::vector<std::vector<std::string>> read_csv(const std::string& file) {
    std::ifstream stream(file);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with('#')) {
            rows.push_back(split(line, ','));
        }
    }
    EXPECT_FALSE(rows.empty()) << file;
    return rows;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts{""};
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

}  // namespace cellwarden::test

// The table of production-date fixes that the tests are linked with, in place of the product's: it
// is as long as a real one, and its rows can be told from one another.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace cellwarden::test {

inline constexpr int LARGE_TABLE_ROWS = 2821;

// The IMEI of a row: an empty one, one of 1,000 bytes, and then ordinary ones.
inline std::string imei_of(int row) {
    std::string imei;
    if (row == 0) {
        return imei;
    }
    if (row == 1) {
        for (int octet = 0; octet < 1000; octet++) {
            imei += static_cast<char>(octet);
        }
        return imei;
    }
    char text[16];
    (void)snprintf(text, sizeof text, "35%013d", row);
    return text;
}

inline std::string date_of(int row) {
    char text[40];
    (void)snprintf(text, sizeof text, "%02d%02d%02d", row % 100, 1 + row % 12, 1 + row % 28);
    return text;
}

}  // namespace cellwarden::test

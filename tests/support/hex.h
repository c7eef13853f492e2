// Bytes as hexadecimal digits, two for each.
#pragma once

#include <cstdint>
#include <string>

namespace cellwarden::test {

inline std::string bytes_of_hex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

inline std::string hex_of(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        hex += "0123456789abcdef"[static_cast<uint8_t>(byte) >> 4];
        hex += "0123456789abcdef"[byte & 0xF];
    }
    return hex;
}

}  // namespace cellwarden::test

#include "common/text.h"

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

namespace cellwarden {
namespace {

// A character of UTF-8 and the number of its bytes; 0 bytes if they are not valid UTF-8.
struct Character {
    uint32_t code = 0;
    size_t length = 0;
};

constexpr uint32_t CONTINUATION_BITS = 6;

Character first_character(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    if (byte(0) < 0x80) {
        return {byte(0), 1};
    }
    const size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < length) {
        return {};
    }
    uint32_t code = byte(0) & (0x7FU >> length);
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80) {
            return {};
        }
        code = code << CONTINUATION_BITS | (byte(i) & 0x3F);
    }
    const uint32_t shortest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < shortest || code > 0x10FFFF || is_surrogate ? Character{}
                                                              : Character{code, length};
}

bool is_control(uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Line and paragraph separators, and the marks that reorder the text around them.
bool moves_text(uint32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string escape(const char* format, unsigned number) {
    char text[16];
    (void)snprintf(text, sizeof text, format, number);
    return text;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto [code, length] = first_character(text);
        if (length == 0) {
            result += escape("\\x%02X", static_cast<uint8_t>(text.front()));
            text.remove_prefix(1);
            continue;
        }
        if (is_control(code)) {
            result += escape("\\x%02X", code);
        } else if (moves_text(code)) {
            result += escape("\\u%04X", code);
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return result;
}

std::string printable_lines(std::string_view text) {
    std::string result;
    for (size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
        result += printable(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return result + printable(text);
}

std::string json_text(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

void complain(std::string_view program, std::string_view text) {
    std::cerr << program << ": " << printable_lines(text) << '\n';
}

}  // namespace cellwarden

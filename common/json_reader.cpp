#include "common/json_reader.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>

namespace cellwarden {
namespace {

std::string short_number(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

// Throws InputError if the text has more levels of objects and arrays than the code that reads and
// prints values, which calls itself for each level, may meet. Of a text that is not valid JSON, the
// parser reports the error.
void refuse_deep_nesting(const std::string& text, const std::filesystem::path& file) {
    constexpr size_t MOST_LEVELS = 100;
    size_t levels = 0;
    size_t line = 1;
    bool in_string = false;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        line += c == '\n' ? 1 : 0;
        if (c == '"') {
            in_string = !in_string;
        } else if (in_string) {
            i += c == '\\' ? 1 : 0;
        } else if (c == '{' || c == '[') {
            levels++;
        } else if ((c == '}' || c == ']') && levels > 0) {
            levels--;
        }
        if (levels > MOST_LEVELS) {
            throw InputError(file.string() + ": line " + std::to_string(line) +
                             ": expected at most " + std::to_string(MOST_LEVELS) +
                             " levels of objects and arrays");
        }
    }
}

// Returns the library's text without its error code: "line 2, column 3: syntax error while parsing
// value - unexpected '}'; expected string literal".
std::string reason_of(const nlohmann::json::exception& error) {
    std::string text = error.what();
    text.erase(0, text.find("] ") + 2);
    constexpr std::string_view START = "parse error at ";
    return text.starts_with(START) ? text.substr(START.size()) : text;
}

}  // namespace

nlohmann::json parse_document(const std::string& text, const std::filesystem::path& file) {
    return parse_ordered_document(text, file);
}

nlohmann::ordered_json parse_ordered_document(const std::string& text,
                                              const std::filesystem::path& file) {
    refuse_deep_nesting(text, file);
    try {
        return nlohmann::ordered_json::parse(text);
    } catch (const nlohmann::json::exception& error) {
        throw InputError(file.string() + ": " + reason_of(error));
    }
}

void fail(const JsonPlace& place, const std::string& expected) {
    std::string found = place.value.dump();
    if (found.size() > 60) {
        found.resize(57);
        found += "...";
    }
    const std::string where = place.path.empty() ? "top of the file" : place.path;
    throw InputError(place.file.string() + ": " + where + ": expected " + expected + ", found " +
                     found);
}

JsonPlace member(const JsonPlace& parent, const std::string& key) {
    const std::string path = parent.path.empty() ? key : parent.path + "." + key;
    return {parent.value.at(key), path, parent.file};
}

JsonPlace element(const JsonPlace& parent, size_t index) {
    return {parent.value.at(index), parent.path + "[" + std::to_string(index) + "]", parent.file};
}

std::string key_list(const Handlers& handlers) {
    std::string list;
    for (const auto& [key, handler] : handlers) {
        list += list.empty() ? key : ", " + key;
    }
    return list;
}

void read_object(const JsonPlace& place, const Handlers& handlers) {
    if (!place.value.is_object()) {
        fail(place, "an object with some of: " + key_list(handlers));
    }
    for (const auto& item : place.value.items()) {
        const auto handler = handlers.find(item.key());
        if (handler == handlers.end()) {
            throw InputError(place.file.string() + ": " +
                             (place.path.empty() ? "" : place.path + ".") + item.key() +
                             ": unknown key, expected one of: " + key_list(handlers));
        }
        handler->second(member(place, item.key()));
    }
}

double read_number(const JsonPlace& place, double low, double high) {
    if (!place.value.is_number() || place.value.get<double>() < low ||
        place.value.get<double>() > high) {
        fail(place, "a number from " + short_number(low) + " to " + short_number(high));
    }
    return place.value.get<double>();
}

int64_t read_integer(const JsonPlace& place, int64_t low, int64_t high) {
    // A whole number beyond 64 signed bits would be converted to a negative number.
    const bool is_too_large = place.value.is_number_unsigned() &&
                              place.value.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX);
    if (!place.value.is_number_integer() || is_too_large || place.value.get<int64_t>() < low ||
        place.value.get<int64_t>() > high) {
        fail(place, "a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return place.value.get<int64_t>();
}

std::string read_text(const JsonPlace& place) {
    if (!place.value.is_string()) {
        fail(place, "a text");
    }
    return place.value.get<std::string>();
}

bool read_flag(const JsonPlace& place) {
    if (!place.value.is_boolean()) {
        fail(place, "true or false");
    }
    return place.value.get<bool>();
}

Handler number_into(double& target, double low, double high, double factor) {
    return [&target, low, high, factor](const JsonPlace& place) {
        target = read_number(place, low, high) * factor;
    };
}

Handler integer_into(int& target, int low, int high) {
    return [&target, low, high](const JsonPlace& place) {
        target = static_cast<int>(read_integer(place, low, high));
    };
}

Handler text_into(std::string& target) {
    return [&target](const JsonPlace& place) { target = read_text(place); };
}

std::string read_choice(const JsonPlace& place, const std::vector<std::string>& choices) {
    std::string text = place.value.is_string() ? place.value.get<std::string>() : "";
    if (std::find(choices.begin(), choices.end(), text) == choices.end()) {
        std::string list;
        for (const std::string& choice : choices) {
            list += (list.empty() ? "" : ", ") + choice;
        }
        fail(place, "one of: " + list);
    }
    return text;
}

void require(const JsonPlace& place, const char* key) {
    if (!place.value.is_object() || !place.value.contains(key)) {
        fail(place, std::string("an object with the key ") + key);
    }
}

}  // namespace cellwarden

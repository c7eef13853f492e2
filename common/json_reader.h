// Reads values from a JSON file that a person wrote, and remembers where each value is in the file,
// so that an error message can name the place. Every function throws InputError if the value does
// not have the type or range that it reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "common/input.h"

namespace cellwarden {

// Returns the document in `text`; `file` serves messages. Throws InputError with the line if the
// text is not JSON, or if it nests more than 100 levels of objects and arrays.
nlohmann::json parse_document(const std::string& text, const std::filesystem::path& file);
nlohmann::ordered_json parse_ordered_document(const std::string& text,
                                              const std::filesystem::path& file);

struct JsonPlace {
    const nlohmann::json& value;
    std::string path;  // "timeline[2].plug.watts"
    const std::filesystem::path& file;
};

// Throws InputError: "FILE: PATH: expected ..., found ...".
[[noreturn]] void fail(const JsonPlace& place, const std::string& expected);

JsonPlace member(const JsonPlace& parent, const std::string& key);
JsonPlace element(const JsonPlace& parent, size_t index);

// Throws unless the value is an object with that key.
void require(const JsonPlace& place, const char* key);

double read_number(const JsonPlace& place, double low, double high);
int64_t read_integer(const JsonPlace& place, int64_t low, int64_t high);
std::string read_text(const JsonPlace& place);
std::string read_choice(const JsonPlace& place, const std::vector<std::string>& choices);
bool read_flag(const JsonPlace& place);

// Reads one member of an object.
using Handler = std::function<void(const JsonPlace&)>;
using Handlers = std::map<std::string, Handler>;

// Passes each member of an object to the handler of its key. Throws if a key has no handler.
void read_object(const JsonPlace& place, const Handlers& handlers);

// Returns the keys, separated by commas, for a message.
std::string key_list(const Handlers& handlers);

// Return handlers that store the value in `target`, which must outlive them.
Handler number_into(double& target, double low, double high, double factor = 1);
Handler integer_into(int& target, int low, int high);
Handler text_into(std::string& target);

}  // namespace cellwarden

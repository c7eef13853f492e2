// Values of a JSON file that a person wrote, together with where they stand, so that whatever is
// wrong with one is told with its place. All functions throw InputError where the value is not what
// they read.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/input.h"

namespace cellwarden {

// Returns the document in `text`; `file` serves messages.
nlohmann::json parse_document(const std::string& text, const std::filesystem::path& file);

struct JsonPlace {
    const nlohmann::json& value;
    std::string path;  // "timeline[2].plug.watts"
    const std::filesystem::path& file;
};

// Throws InputError: "FILE: PATH: expected ..., found ...".
[[noreturn]] void fail(const JsonPlace& place, const std::string& expected);

JsonPlace member(const JsonPlace& parent, const std::string& key);
JsonPlace element(const JsonPlace& parent, size_t index);

// Fails where the value is no object with that key.
void require(const JsonPlace& place, const char* key);

double read_number(const JsonPlace& place, double low, double high);
int64_t read_integer(const JsonPlace& place, int64_t low, int64_t high);
std::string read_text(const JsonPlace& place);
std::string read_choice(const JsonPlace& place, const std::vector<std::string>& choices);
bool read_flag(const JsonPlace& place);

// What to do with each member of an object.
using Handler = std::function<void(const JsonPlace&)>;
using Handlers = std::map<std::string, Handler>;

// Hands each member of an object to its key's handler; an unknown key is an error.
void read_object(const JsonPlace& place, const Handlers& handlers);

// The keys, for a message.
std::string key_list(const Handlers& handlers);

// Handlers that store what they read; `target` must outlive them.
Handler number_into(double& target, double low, double high, double factor = 1);
Handler integer_into(int& target, int low, int high);
Handler text_into(std::string& target);

}  // namespace cellwarden

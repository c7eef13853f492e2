// Prints members of a structure as lines of text, so that a comparison shows which member is wrong.
#pragma once

#include <sstream>
#include <string>
#include <type_traits>

namespace cellwarden::test {

// Returns "a.b = 1\nc = 2\n" for the names "a.b, c" and the values 1 and 2.
template <typename... T>
std::string named_values(const std::string& names, const T&... values) {
    std::istringstream rest(names);
    std::ostringstream lines;
    lines.precision(15);
    const auto add = [&](const auto& value) {
        std::string name;
        std::getline(rest >> std::ws, name, ',');
        lines << name << " = ";
        if constexpr (std::is_integral_v<std::decay_t<decltype(value)>>) {
            lines << +value << '\n';  // a byte as its number
        } else {
            lines << value << '\n';
        }
    };
    (add(values), ...);
    return lines.str();
}

// Sets each of the members "a.b, c" whose last name is `name`. Returns whether such a member exists.
template <typename... T>
bool set_named(const std::string& names, const std::string& name, double value, T&... members) {
    std::istringstream rest(names);
    bool found = false;
    const auto set = [&](auto& member) {
        std::string place;
        std::getline(rest >> std::ws, place, ',');
        if (place.substr(place.rfind('.') + 1) == name) {
            member = static_cast<std::decay_t<decltype(member)>>(value);
            found = true;
        }
    };
    (set(members), ...);
    return found;
}

}  // namespace cellwarden::test

// Returns a line with text and value for each expression. The expressions must not contain commas.
#define NAMED(...) ::cellwarden::test::named_values(#__VA_ARGS__, __VA_ARGS__)

// Sets the member that has this name.
#define SET_NAMED(name, value, ...) ::cellwarden::test::set_named(#__VA_ARGS__, name, value, __VA_ARGS__)

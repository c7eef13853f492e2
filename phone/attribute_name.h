// Readable names of attributes.
#pragma once

#include <string_view>

namespace cellwarden::phone {

// Returns the last two components of a path, the name of an attribute in messages:
// "battery/capacity".
inline std::string_view attribute_name(std::string_view path) {
    const size_t file = path.rfind('/');
    const size_t folder = file == 0 || file == path.npos ? path.npos : path.rfind('/', file - 1);
    return folder == path.npos ? path : path.substr(folder + 1);
}

}  // namespace cellwarden::phone

// A small profile of one user, and variants of it.
#pragma once

#include <nlohmann/json.hpp>

#include "support/folder.h"
#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

// small.json with a JSON merge patch applied: an array is replaced, null removes a key.
inline nlohmann::json small_document(const std::string& patch = "{}") {
    nlohmann::json document = nlohmann::json::parse(test::text_of_file(TOOLS_TESTS "/small.json"));
    document.merge_patch(nlohmann::json::parse(patch));
    return document;
}
inline Profile small_profile(const std::string& patch = "{}") {
    return parse_profile(small_document(patch).dump(), TOOLS_TESTS "/small.json");
}

}  // namespace cellwarden::lifetime

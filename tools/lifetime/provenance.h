// What a result was made from: the program, the policy, and digests of the inputs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "policies/policy_file.h"

namespace cellwarden::lifetime {

// Returns the version and a digest of the sources: "cellwarden 1.0.0 sources 0123456789abcdef".
std::string program_version();

// Returns the SHA-256 of a text as 64 hexadecimal digits.
std::string digest_of(std::string_view text);

// Returns the name, the digest and all figures of a policy.
nlohmann::ordered_json policy_provenance(const CarePolicy& policy);

}  // namespace cellwarden::lifetime

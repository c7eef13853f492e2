// The shipped profiles, policies and studies, and files that users name.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "policies/policy_file.h"
#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

std::vector<std::string> shipped_profiles();

// Return what a name refers to: a shipped file, or a path if the name contains a '/' or ends with
// ".json". Relative paths start at `base`. Throw InputError.
Profile find_profile(const std::string& name, const std::filesystem::path& base = ".");
CarePolicy find_policy(const std::string& name, const std::filesystem::path& base = ".");
std::filesystem::path find_study(const std::string& name);

}  // namespace cellwarden::lifetime

#include "tools/lifetime/shipped.h"

#include <algorithm>

#include "common/input.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

const fs::path profile_folder = CELLWARDEN_PROFILE_DIR;
const fs::path policy_folder = CELLWARDEN_POLICY_DIR;
const fs::path study_folder = CELLWARDEN_STUDY_DIR;

std::vector<std::string> names_in(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".json") {
            names.push_back(entry.path().stem());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

fs::path find_file(const char* what, const std::string& name, const fs::path& folder,
                   const fs::path& base) {
    if (name.find('/') != std::string::npos || name.ends_with(".json")) {
        return base / name;
    }
    const std::vector<std::string> names = names_in(folder);
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        std::string list;
        for (const std::string& shipped : names) {
            list += (list.empty() ? "" : ", ") + shipped;
        }
        throw InputError(std::string(what) + " '" + name +
                         "' does not exist; the shipped ones are " + list +
                         ". A path contains a '/' or ends with '.json'");
    }
    return folder / (name + ".json");
}

}  // namespace

std::vector<std::string> shipped_profiles() {
    return names_in(profile_folder);
}

Profile find_profile(const std::string& name, const fs::path& base) {
    return load_profile(find_file("profile", name, profile_folder, base));
}

CarePolicy find_policy(const std::string& name, const fs::path& base) {
    return load_policy(find_file("policy", name, policy_folder, base));
}

fs::path find_study(const std::string& name) {
    return find_file("study", name, study_folder, ".");
}

}  // namespace cellwarden::lifetime

#include "tools/lifetime/shipped.h"

#include <algorithm>

#include "common/input.h"
#include "common/installation.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

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
    return names_in(data_folder("profiles"));
}

Profile find_profile(const std::string& name, const fs::path& base) {
    return load_profile(find_file("profile", name, data_folder("profiles"), base));
}

CarePolicy find_policy(const std::string& name, const fs::path& base) {
    return load_policy(find_file("policy", name, data_folder("policies"), base));
}

fs::path find_study(const std::string& name) {
    return find_file("study", name, data_folder("studies"), ".");
}

}  // namespace cellwarden::lifetime

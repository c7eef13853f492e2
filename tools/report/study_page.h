// The page about a study of policies, from the files that `cellwarden-lifetime study` writes.
#pragma once

#include <filesystem>
#include <string>

namespace cellwarden::report {

// Returns whether the path is the directory of a study that has a summary.
bool is_study(const std::filesystem::path& path);

// Returns the page. Throws InputError with the path and the reason.
std::string study_page_of(const std::filesystem::path& directory, const std::string& title);

}  // namespace cellwarden::report

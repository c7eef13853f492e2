// The page: one HTML file without references to other files.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/report/subject.h"

namespace cellwarden::report {

// Made at build time from page.html, page.js and the chart library.
extern const std::string_view PAGE_HTML;
extern const std::string_view PAGE_SCRIPT;

// A column of the table at the top of the page: its heading, and the title and text of each row.
// All columns of a page have the same titles.
using FactColumn = std::pair<std::string, std::vector<std::pair<std::string, std::string>>>;

// Returns a page with these sections (sections.h); `facts` must not be empty.
std::string page_of(const std::string& title, const std::vector<FactColumn>& facts,
                    nlohmann::ordered_json sections);

// Returns the page about subjects, which must not be empty. `runs` are sections that
// come first.
std::string page_of(const std::vector<Subject>& subjects, const std::string& title,
                    nlohmann::ordered_json runs);

}  // namespace cellwarden::report

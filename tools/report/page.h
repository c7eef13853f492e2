// The page: one HTML file without references to other files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/report/subject.h"

namespace cellwarden::report {

// Made at build time from page.html, page.js and the chart library.
extern const std::string_view PAGE_HTML;
extern const std::string_view PAGE_SCRIPT;

// Returns the page; `subjects` must not be empty.
std::string page_of(const std::vector<Subject>& subjects, const std::string& title);

}  // namespace cellwarden::report

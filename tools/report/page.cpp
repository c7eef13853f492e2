#include "tools/report/page.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/text.h"
#include "tools/report/sections.h"

namespace cellwarden::report {
namespace {

using nlohmann::ordered_json;

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : text) {
        switch (c) {
            case '<':
                html += "&lt;";
                break;
            case '&':
                html += "&amp;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

// Escapes "<": it could end the element that contains the data.
std::string script_safe(const ordered_json& json) {
    std::string text = json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    for (size_t at = 0; (at = text.find('<', at)) != std::string::npos;) {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

std::string facts_html(const std::vector<FactColumn>& columns) {
    std::string html = "<thead><tr><th scope=\"col\">Summary</th>";
    for (const auto& [name, rows] : columns) {
        html += "<th scope=\"col\">" + escaped(name) + "</th>";
    }
    html += "</tr></thead><tbody>";
    for (size_t row = 0; row < columns.front().second.size(); row++) {
        html += "<tr><th scope=\"row\">" + escaped(columns.front().second[row].first) + "</th>";
        for (const auto& [name, rows] : columns) {
            html += "<td>" + escaped(printable(rows[row].second)) + "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</tbody>";
}

// Replaces each @NAME@ with its text in one pass, so names inside the texts are not replaced.
std::string filled(std::string_view page,
                   const std::array<std::pair<std::string_view, std::string_view>, 5>& parts) {
    std::string result;
    while (!page.empty()) {
        const size_t at = page.find('@');
        result += page.substr(0, at);
        page.remove_prefix(std::min(at, page.size()));
        bool is_place = false;
        for (const auto& [name, text] : parts) {
            if (page.starts_with(name)) {
                result += text;
                page.remove_prefix(name.size());
                is_place = true;
                break;
            }
        }
        if (!is_place && !page.empty()) {
            result += page.front();
            page.remove_prefix(1);
        }
    }
    return result;
}

}  // namespace

std::string page_of(const std::string& title, const std::vector<FactColumn>& facts,
                    ordered_json sections) {
    ordered_json data = {{"subjects", ordered_json::array()}, {"sections", std::move(sections)}};
    for (const auto& [name, rows] : facts) {
        data["subjects"].push_back({{"name", name}});
    }
    return filled(PAGE_HTML, {{{"@TITLE@", escaped(title)},
                               {"@FACTS@", facts_html(facts)},
                               {"@FOOTER@", "Made by " CELLWARDEN_TOOL_VERSION
                                            ". Times are UTC; days are days of online time."},
                               {"@DATA@", script_safe(data)},
                               {"@SCRIPT@", PAGE_SCRIPT}}});
}

std::string page_of(const std::vector<Subject>& subjects, const std::string& title,
                    ordered_json runs) {
    std::vector<FactColumn> facts;
    facts.reserve(subjects.size());
    for (const Subject& subject : subjects) {
        facts.emplace_back(subject.name, facts_of(subject));
    }
    for (ordered_json& section : sections_of(subjects)) {
        runs.push_back(std::move(section));
    }
    return page_of(title, facts, std::move(runs));
}

}  // namespace cellwarden::report

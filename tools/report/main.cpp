// cellwarden-report: makes an HTML page of charts from records and life-time runs.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <tuple>

#include "common/command_line.h"
#include "tools/report/overlay.h"
#include "tools/report/page.h"
#include "tools/report/study_page.h"

namespace cellwarden::report {
namespace {

constexpr const char* FOOTER =
    "An input is a record file (the content of unit 2491), a directory of units, or the\n"
    "directory of a life-time run. NAME=INPUT sets the name that the page shows. Two or more\n"
    "runs are also drawn over each other; the first is the reference. The directory of a\n"
    "study has a page of its own.\n\n"
    "Exit codes:\n"
    "  0   the page was written\n"
    "  2   wrong usage, an input without a record that the daemon would keep, or the page\n"
    "      cannot be written";

struct Options {
    std::vector<std::string> inputs;
    std::string out = "battery-report.html";
    std::string title = "Battery report";
};

Subject subject_of(const std::string& input) {
    const size_t equals = input.find('=');
    const bool has_name = equals != std::string::npos && equals < input.find('/');
    return has_name ? load_subject(input.substr(equals + 1), input.substr(0, equals))
                    : load_subject(input, "");
}

void write_page(const std::string& path, const std::string& page) {
    if (path == "-") {
        std::cout << page;
        return;
    }
    std::ofstream stream(path, std::ios::binary);
    stream << page;
    stream.close();
    if (!stream) {
        throw std::runtime_error(path + ": cannot be written: " + strerror(errno));
    }
    std::cout << path << ", " << page.size() / 1000 << " kB\n";
}

void run(const Options& options) {
    if (std::any_of(options.inputs.begin(), options.inputs.end(), is_study)) {
        if (options.inputs.size() > 1) {
            throw std::runtime_error("a study has a page of its own; name one study alone");
        }
        write_page(options.out, study_page_of(options.inputs.front(), options.title));
        return;
    }
    std::vector<Subject> subjects;
    for (const std::string& input : options.inputs) {
        subjects.push_back(subject_of(input));
    }
    for (const Subject& subject : subjects) {
        const auto bins = [](const Subject& one) {
            const auto& [voltage, temperature, soc] = one.policy.bins;
            return std::tie(voltage, temperature, soc);
        };
        if (bins(subject) != bins(subjects.front())) {
            throw std::runtime_error(subject.name + ": its policy has other bins than that of " +
                                     subjects.front().name + "; make a page for each");
        }
    }
    write_page(options.out, page_of(subjects, options.title, run_sections(options.inputs)));
}

}  // namespace
}  // namespace cellwarden::report

int main(int argc, char** argv) {
    using namespace cellwarden::report;
    constexpr int TROUBLE = 2;
    try {
        cellwarden::CommandLine line(
            {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
        Options options;
        line.add("input", options.inputs, "Inputs; several inputs are shown side by side")
            .required();
        line.add("-o,--out", options.out, "File to write; '-' means standard output")
            .show_default();
        line.add("--title", options.title, "Title of the page").show_default();
        const int done = line.parse(argc, argv);
        if (done >= 0) {
            return done;
        }
        run(options);
        return cellwarden::finish(CELLWARDEN_TOOL_NAME, 0);
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-report: " << error.what() << '\n';
        return TROUBLE;
    }
}

// cellwarden-report: makes an HTML page of charts from records, events and life-time runs.

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
#include "common/input.h"
#include "common/text.h"
#include "tools/report/overlay.h"
#include "tools/report/page.h"
#include "tools/report/study_page.h"

namespace cellwarden::report {
namespace {

constexpr const char* FOOTER =
    "An input is a record file (the content of unit 2491), a directory of units, the\n"
    "directory of a life-time run, an ageing event, a directory of events (an outbox), or a\n"
    "stream of events. Of events, the page shows the newest ageing event and all charger\n"
    "connections. NAME=INPUT sets the name that the page shows. Two or more runs are also\n"
    "drawn over each other; the first is the reference. The directory of a study has a page\n"
    "of its own.\n\n"
    "Exit codes:\n"
    "  0   the page was written\n"
    "  2   wrong usage, an input with neither a record that the daemon would keep nor an\n"
    "      event, or the page cannot be written";

struct Options {
    std::vector<std::string> inputs;
    std::vector<std::string> phones;
    std::string out = "battery-report.html";
    std::string title = "Battery report";
};

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
            throw InputError("a study has a page of its own; name one study alone");
        }
        write_page(options.out, study_page_of(options.inputs.front(), options.title));
        return;
    }
    const auto refuse = [](const std::string& text) { complain(CELLWARDEN_TOOL_NAME, text); };
    const std::vector<Subject> subjects = load_subjects({options.inputs, options.phones, refuse});
    for (const Subject& subject : subjects) {
        const auto bins = [](const Subject& one) {
            const auto& [voltage, temperature, soc] = one.policy.bins;
            return std::tie(voltage, temperature, soc);
        };
        if (bins(subject) != bins(subjects.front())) {
            throw InputError(subject.name + ": its policy has other bins than that of " +
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
        line.add("--phone", options.phones,
                 "Keys of the phones to show; needed if a stream has more than 12 phones");
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
        cellwarden::complain(CELLWARDEN_TOOL_NAME, error.what());
        return TROUBLE;
    }
}

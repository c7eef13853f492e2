// cellwarden-bench: runs the daemon on a simulated phone.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <sstream>

#include "bench/sandbox.h"
#include "bench/scenario.h"
#include "bench/session.h"
#include "bench/state_dir.h"
#include "common/command_line.h"
#include "common/installation.h"
#include "common/text.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

struct Options {
    std::string scenario = "ordinary";
    bool list = false;
    bool json = false;
    double duration_s = 0;  // 0: the scenario's own
    fs::path state_dir;     // empty: a new one
    fs::path daemon;
    fs::path device_libraries;
    std::string run_with;
};

constexpr const char* FOOTER =
    "Exit codes:\n"
    "  0   the daemon ran until the end\n"
    "  1   the daemon ended by itself or never listened for uevents\n"
    "  2   wrong usage or input, or the bench could not start the daemon";

void add_options(CommandLine& line, Options& options) {
    line.let_last_win();
    line.add("--scenario", options.scenario,
             "Name of a shipped scenario (see --list), or a scenario file")
        .show_default();
    line.add_flag("--list", options.list, "Print the shipped scenarios and exit");
    line.add_flag("--json", options.json, "Print one JSON object per line");
    line.add("--duration", options.duration_s,
             "Duration of the run in seconds; default: that of the scenario")
        .between(1.0, 1e6);
    line.add("--state", options.state_dir,
             "Directory for units, outbox, properties and faults; the run starts from the "
             "units in it. Default: a new temporary directory, which is kept");
    line.add("--daemon", options.daemon,
             "Program of the daemon; default: the one built or installed with this program");
    line.add("--device-libs", options.device_libraries,
             "Directory with the stand-in device libraries; default: those built or installed with "
             "this program");
    line.add("--run-with", options.run_with,
             "Command that runs the daemon's program, for example \"qemu-aarch64\"");
}

fs::path scenario_file(const std::string& name) {
    const bool is_path = name.find('/') != std::string::npos || name.ends_with(".json");
    if (is_path) {
        return name;
    }
    fs::path file = data_folder("scenarios") / (name + ".json");
    if (!fs::exists(file)) {
        throw InputError("scenario '" + name +
                         "' does not exist; cellwarden-bench --list prints the shipped scenarios. "
                         "The path of a scenario file contains a '/' or ends with '.json'");
    }
    return file;
}

void list_scenarios() {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(data_folder("scenarios"))) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        const Scenario scenario = load_scenario(file);
        printf("%-18s %s\n", file.stem().c_str(), scenario.about.c_str());
    }
}

Output choose_output(bool json) {
    if (json) {
        return Output::JSON;
    }
    return isatty(STDOUT_FILENO) != 0 ? Output::TERMINAL : Output::PLAIN;
}

DaemonCommand daemon_command(const Options& options, const fs::path& state_dir) {
    DaemonCommand command{{}, fs::absolute(options.device_libraries), state_dir};
    std::istringstream words(options.run_with);
    for (std::string word; words >> word;) {
        command.words.push_back(word);
    }
    command.words.push_back(fs::absolute(options.daemon));
    return command;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

int run(const Options& options) {
    SessionOptions session;
    const fs::path file = scenario_file(options.scenario);
    session.scenario = load_scenario(file);
    if (options.duration_s > 0) {
        session.scenario.duration_s = options.duration_s;
    }
    for (const fs::path& needed : {options.daemon, options.device_libraries / "libcutils.so"}) {
        if (!fs::exists(needed)) {
            throw std::runtime_error(needed.string() +
                                     " does not exist; build the project, or set "
                                     "--daemon and --device-libs");
        }
    }
    enter_sandbox();
    const fs::path state_dir =
        options.state_dir.empty() ? make_temporary_state_dir() : fs::absolute(options.state_dir);
    session.daemon = daemon_command(options, state_dir);
    session.settings = {.scenario = file.stem(),
                        .about = session.scenario.about,
                        .daemon = joined(session.daemon.words),
                        .state_dir = state_dir,
                        .duration_s = session.scenario.duration_s,
                        .speed = session.scenario.speed,
                        .uptime_s = session.scenario.uptime_s};
    session.output = choose_output(options.json);
    return run_session(session) ? 0 : 1;
}

}  // namespace
}  // namespace cellwarden::bench

int main(int argc, char** argv) {
    using namespace cellwarden::bench;
    try {
        cellwarden::CommandLine line(
            {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
        Options options;
        options.daemon = cellwarden::daemon_folder() / "cellwarden";
        options.device_libraries = cellwarden::daemon_folder() / "device";
        add_options(line, options);
        const int done = line.parse(argc, argv);
        if (done >= 0) {
            return done;
        }
        if (options.list) {
            list_scenarios();
            return 0;
        }
        return run(options);
    } catch (const std::exception& error) {
        cellwarden::complain(CELLWARDEN_TOOL_NAME, error.what());
        return 2;
    }
}

// cellwarden-lifetime: simulates years of a phone's battery in minutes.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "common/command_line.h"
#include "common/installation.h"
#include "common/json_reader.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/runner.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

constexpr const char* FOOTER =
    "Exit codes:\n"
    "  0   every run finished; compare: the runs are equal\n"
    "  1   a run failed; compare: the runs differ\n"
    "  2   wrong usage or input\n"
    "  130 stopped by Ctrl-C, 143 by SIGTERM; the results so far are stored";

struct RunOptions {
    std::vector<std::string> profiles;
    fs::path out = "lifetime-runs";
    uint64_t seed = 1;
    double years = 0;  // 0: the profile's own
    unsigned threads = std::max(1U, std::thread::hardware_concurrency());
};

std::vector<std::string> shipped_profiles() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(data_folder("profiles"))) {
        names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

Profile find_profile(const std::string& name) {
    const bool is_path = name.find('/') != std::string::npos || name.ends_with(".json");
    const fs::path file = is_path ? fs::path(name) : data_folder("profiles") / (name + ".json");
    if (!is_path && !fs::exists(file)) {
        throw InputError("profile '" + name +
                         "' does not exist; cellwarden-lifetime list prints the shipped profiles. "
                         "The path of a profile file contains a '/' or ends with '.json'");
    }
    return load_profile(file);
}

int list() {
    for (const std::string& name : shipped_profiles()) {
        printf("%-12s %s\n", name.c_str(), find_profile(name).about.c_str());
    }
    return 0;
}

int run(const RunOptions& options) {
    std::vector<Job> jobs;
    std::set<fs::path> directories;
    for (const std::string& name :
         options.profiles.empty() ? shipped_profiles() : options.profiles) {
        Profile profile = find_profile(name);
        profile.years = options.years > 0 ? options.years : profile.years;
        const fs::path directory = options.out / profile.name;
        if (!directories.insert(directory).second) {
            throw InputError(name + ": another profile of this run has the same directory, " +
                             directory.string());
        }
        jobs.push_back({std::move(profile), directory});
    }
    printf("Seed %llu, at most %u threads\n", static_cast<unsigned long long>(options.seed),
           options.threads);
    for (const Job& job : jobs) {
        printf("%s: %g years, %s\n", job.profile.name.c_str(), job.profile.years,
               job.profile.about.c_str());
    }
    (void)fflush(stdout);
    return run_jobs(jobs, options.seed, options.threads);
}

int compare(const std::vector<std::string>& runs) {
    const nlohmann::ordered_json a = read_summary(runs[0]);
    const nlohmann::ordered_json b = read_summary(runs[1]);
    const auto print_run = [](const char* name, const std::string& run,
                              const nlohmann::ordered_json& summary) {
        std::cout << name << " = " << run << ": " << summary.at("profile").get<std::string>()
                  << ", seed " << summary.at("seed")
                  << (summary.at("complete").get<bool>() ? "" : ", ended early") << '\n';
    };
    print_run("A", runs[0], a);
    print_run("B", runs[1], b);
    return print_comparison(std::cout, a, b) ? 0 : 1;
}

void add_run_command(CommandLine& line, RunOptions& options) {
    Command command = line.add_command("run", "Simulate profiles, several at the same time");
    command.add("profile", options.profiles,
                "Names of shipped profiles (see list) or profile files; default: all "
                "shipped profiles");
    command
        .add("--out", options.out, "Directory for the results; each profile gets a directory in it")
        .show_default();
    command.add("--seed", options.seed, "Seed of the random numbers").show_default();
    command.add("--years", options.years, "Years to simulate; default: those of the profile")
        .between(0.001, 20.0);
    command.add("--jobs", options.threads, "Number of profiles that run at the same time")
        .between(1, 1024)
        .show_default();
}

int parse_and_do(int argc, char** argv) {
    CommandLine line(
        {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
    RunOptions options;
    add_run_command(line, options);
    line.add_command("list", "Print the shipped profiles");
    std::vector<std::string> runs;
    line.add_command("compare", "Print the figures of two runs and their differences")
        .add("run", runs, "The directories of the two runs")
        .required()
        .expect(2);
    const int done = line.parse(argc, argv);
    if (done >= 0) {
        return done;
    }
    if (line.has_command("list")) {
        return list();
    }
    return line.has_command("compare") ? compare(runs) : run(options);
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    constexpr int TROUBLE = 2;
    try {
        return cellwarden::finish(CELLWARDEN_TOOL_NAME,
                                  cellwarden::lifetime::parse_and_do(argc, argv));
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-lifetime: " << error.what() << '\n';
        return TROUBLE;
    }
}

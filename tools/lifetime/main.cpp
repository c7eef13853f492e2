// cellwarden-lifetime: simulates years of a phone's battery in minutes.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <set>
#include <thread>

#include "common/command_line.h"
#include "common/json_reader.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/runner.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

const fs::path profile_folder = CELLWARDEN_PROFILE_DIR;

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
    for (const auto& entry : fs::directory_iterator(profile_folder)) {
        names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

Profile find_profile(const std::string& name) {
    const bool is_path = name.find('/') != std::string::npos || name.ends_with(".json");
    const fs::path file = is_path ? fs::path(name) : profile_folder / (name + ".json");
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

int compare(const std::vector<fs::path>& runs) {
    const nlohmann::ordered_json a = read_summary(runs[0]);
    const nlohmann::ordered_json b = read_summary(runs[1]);
    const auto print_run = [](const char* name, const fs::path& run,
                              const nlohmann::ordered_json& summary) {
        std::cout << name << " = " << run.string() << ": "
                  << summary.at("profile").get<std::string>() << ", seed " << summary.at("seed")
                  << (summary.at("complete").get<bool>() ? "" : ", ended early") << '\n';
    };
    print_run("A", runs[0], a);
    print_run("B", runs[1], b);
    return print_comparison(std::cout, a, b) ? 0 : 1;
}

void add_run_command(CLI::App& app, RunOptions& options) {
    CLI::App* command = app.add_subcommand("run", "Simulate profiles, several at the same time");
    command->add_option("profile", options.profiles,
                        "Names of shipped profiles (see list) or profile files; default: all "
                        "shipped profiles");
    command
        ->add_option("--out", options.out,
                     "Directory for the results; each profile gets a directory in it")
        ->capture_default_str();
    command->add_option("--seed", options.seed, "Seed of the random numbers")
        ->capture_default_str();
    command
        ->add_option("--years", options.years, "Years to simulate; default: those of the profile")
        ->check(CLI::Range(0.001, 20.0));
    command->add_option("--jobs", options.threads, "Number of profiles that run at the same time")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
}

int parse_and_do(int argc, char** argv) {
    CLI::App app;
    set_up_command_line(app);
    app.require_subcommand(1);
    app.footer(FOOTER);
    RunOptions options;
    add_run_command(app, options);
    app.add_subcommand("list", "Print the shipped profiles");
    std::vector<fs::path> runs;
    app.add_subcommand("compare", "Print the figures of two runs and their differences")
        ->add_option("run", runs, "The directories of the two runs")
        ->required()
        ->expected(2);
    const int done = parse_command_line(app, argc, argv);
    if (done >= 0) {
        return done;
    }
    if (app.got_subcommand("list")) {
        return list();
    }
    return app.got_subcommand("compare") ? compare(runs) : run(options);
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    constexpr int TROUBLE = 2;
    try {
        return cellwarden::finish(cellwarden::lifetime::parse_and_do(argc, argv));
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-lifetime: " << error.what() << '\n';
        return TROUBLE;
    }
}

// cellwarden-lifetime: simulates years of a phone's battery in minutes.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>
#include <tuple>

#include "common/command_line.h"
#include "common/installation.h"
#include "common/json_reader.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/fit.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/runner.h"
#include "tools/lifetime/shipped.h"
#include "tools/lifetime/study_command.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

constexpr const char* FOOTER =
    "Exit codes:\n"
    "  0   every run or life finished; compare: the runs are equal\n"
    "  1   a run failed, or a life could not be stored; compare: the runs differ\n"
    "  2   wrong usage or input\n"
    "  130 stopped by Ctrl-C, 143 by SIGTERM; the results so far are stored: a run is\n"
    "      marked as incomplete, a study continues where it was";

struct RunOptions {
    std::vector<std::string> profiles;
    std::string policy = "shipped";
    bool overwrite = false;
    fs::path out = "lifetime-runs";
    uint64_t seed = 1;
    double years = 0;  // 0: the profile's own
    unsigned threads = std::max(1U, std::thread::hardware_concurrency());
};

int list() {
    for (const std::string& name : shipped_profiles()) {
        printf("%-12s %s\n", name.c_str(), find_profile(name).about.c_str());
    }
    printf("\nCells:\n");
    for (const std::string& name : shipped_cells()) {
        printf("%-16s %s\n", name.c_str(), load_cell(cell_file(name, {})).about.c_str());
    }
    return 0;
}

int print_policy(const std::string& name) {
    std::cout << policy_json(find_policy(name)).dump(4) << '\n';
    return 0;
}

int run(const RunOptions& options) {
    const CarePolicy policy = find_policy(options.policy);
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
        refuse_to_overwrite(directory, options.overwrite);
        jobs.push_back({std::move(profile), policy, options.seed, directory});
    }
    printf("Seed %llu, policy %s, at most %u threads\n",
           static_cast<unsigned long long>(options.seed), policy.name.c_str(), options.threads);
    for (const Job& job : jobs) {
        printf("%s: %g years, %s\n", job.profile.name.c_str(), job.profile.years,
               job.profile.about.c_str());
    }
    const UsageBins& bins = policy.rules.bins;
    if (std::tie(bins.voltage_uv, bins.temperature_decic, bins.soc) !=
        std::tie(POLICY.bins.voltage_uv, POLICY.bins.temperature_decic, POLICY.bins.soc)) {
        printf(
            "The policy's bins are not the daemon's: cellwarden-report labels these records with "
            "the "
            "policy's bins, cellwarden-inspect with the daemon's\n");
    }
    (void)fflush(stdout);
    return run_jobs(jobs, options.threads);
}

int compare(const std::vector<std::string>& runs) {
    const nlohmann::ordered_json a = read_summary(runs[0]);
    const nlohmann::ordered_json b = read_summary(runs[1]);
    const auto print_run = [](const char* name, const std::string& run,
                              const nlohmann::ordered_json& summary) {
        std::cout << name << " = " << run << ": " << summary.at("profile").get<std::string>()
                  << ", policy " << policy_name(summary) << ", seed " << summary.at("seed")
                  << (summary.at("complete").get<bool>() ? "" : ", ended early") << '\n';
    };
    print_run("A", runs[0], a);
    print_run("B", runs[1], b);
    for (const std::string& doubt : doubts_of_comparison(a, b)) {
        std::cout << "Not comparable: " << doubt << '\n';
    }
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
    command
        .add("--policy", options.policy,
             "Name of a shipped policy or policy file: the daemon's figures and the driver's steps")
        .show_default();
    command.add_flag("--overwrite", options.overwrite, "Replace the results of earlier runs");
    command.add("--seed", options.seed, "Seed of the random numbers").show_default();
    command.add("--years", options.years, "Years to simulate; default: those of the profile")
        .between(0.001, 20.0);
    command.add("--jobs", options.threads, "Number of profiles that run at the same time")
        .between(1, 1024)
        .show_default();
}

void add_fit_command(CommandLine& line, FitOptions& options) {
    Command command =
        line.add_command("fit", "Fit a cell and the policy's ageing models to laboratory tables");
    command.add("--calendar", options.calendar, "Table of calendar tests (CSV)").required();
    command.add("--cycling", options.cycling, "Table of cycling tests (CSV)").required();
    command.add("--out", options.out, "Directory for the results").show_default();
}

int parse_and_do(int argc, char** argv) {
    CommandLine line(
        {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
    RunOptions options;
    add_run_command(line, options);
    line.add_command("list", "Print the shipped profiles");
    FitOptions fit_options;
    add_fit_command(line, fit_options);
    std::vector<std::string> runs;
    line.add_command("compare", "Print the figures of two runs and their differences")
        .add("run", runs, "The directories of the two runs")
        .required()
        .expect(2);
    StudyOptions study;
    study.threads = options.threads;
    add_study_command(line, study);
    std::string policy = "shipped";
    line.add_command("policy", "Print all figures of a policy as JSON, to change some of them")
        .add("policy", policy, "Name of a shipped policy or policy file")
        .show_default();
    const int done = line.parse(argc, argv);
    if (done >= 0) {
        return done;
    }
    if (line.has_command("list")) {
        return list();
    }
    if (line.has_command("fit")) {
        return run_fit(fit_options);
    }
    if (line.has_command("study")) {
        return run_study(study);
    }
    if (line.has_command("policy")) {
        return print_policy(policy);
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

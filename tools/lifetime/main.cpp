// cellwarden-lifetime: simulates years of a phone's battery in minutes.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "common/command_line.h"
#include "common/installation.h"
#include "common/json_reader.h"
#include "common/text.h"
#include "decode/reading.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/fit.h"
#include "tools/lifetime/progress.h"
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
    std::string from;
    std::vector<std::string> phones;
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
    std::cout << printable_lines(policy_json(find_policy(name)).dump(4)) << '\n';
    return 0;
}

std::optional<Past> past_of(const RunOptions& options) {
    if (options.from.empty()) {
        if (!options.phones.empty()) {
            throw InputError("--phone chooses a phone of --from, which is missing");
        }
        return {};
    }
    return load_past(options.from, options.phones,
                     [](const std::string& text) { complain(PROGRAM, text); });
}

void print_past(const Past& past) {
    printf("From %s: %s\n", printable(past.name).c_str(), printable(past.source).c_str());
    std::string list;
    for (const std::string& name : past.missing) {
        list += (list.empty() ? "" : ", ") + name;
    }
    if (!list.empty()) {
        printf("Not in the event, so as in a fresh record: %s\n", list.c_str());
    }
    for (const std::string& oddity : past.oddities) {
        printf("Odd: %s\n", printable(oddity).c_str());
    }
}

// Prints from what a life goes on.
void print_start(const Job& job) {
    const Profile& profile = job.profile;
    const BattStat& stat = job.past->stat;
    const Cell cell = aged_cell(profile, stat, job.policy.rules.bins);
    printf("%s: from %.10s on, level %u, %.1f full charges, %.1f days online, %s %.2f %%",
           printable(profile.name).c_str(),
           decode::reading_text(decode::FieldUnit::WALL_S, profile.start_wall_s).c_str(),
           stat.soft_charge_mode, stat.total_cycle_count / 1e4,
           stat.online_time / double{SECONDS_PER_DAY},
           learned_loss(profile, stat) ? "lost" : "no capacity learned, assumed to have lost",
           100 * (1 - cell.soh));
    const char* separator = " (";
    for (const TermState& state : cell.capacity) {
        printf("%s%s %.2f", separator, printable(state.term.name).c_str(), state.lost_percent);
        separator = ", ";
    }
    printf(") of %.0f mAh\n", profile.design_mah * profile.capacity_percent / 100);
}

int run(const RunOptions& options) {
    const CarePolicy policy = find_policy(options.policy);
    const std::optional<Past> past = past_of(options);
    std::vector<Job> jobs;
    std::set<fs::path> directories;
    for (const std::string& name :
         options.profiles.empty() ? shipped_profiles() : options.profiles) {
        Profile profile = find_profile(name);
        if (past) {
            const double design_mah = profile.design_mah;
            profile = profile_of(std::move(profile), *past);
            if (profile.design_mah != design_mah) {
                printf("%s: the record shows a design capacity of %.0f mAh, the profile has %.0f\n",
                       printable(name).c_str(), profile.design_mah, design_mah);
            }
        }
        profile.years = options.years > 0 ? options.years : profile.years;
        const fs::path directory = options.out / profile.name;
        if (!directories.insert(directory).second) {
            throw InputError(name + ": another profile of this run has the same directory, " +
                             directory.string());
        }
        refuse_to_overwrite(directory, options.overwrite);
        jobs.push_back({std::move(profile), policy, options.seed, directory, past});
    }
    printf("Seed %llu, policy %s, at most %u threads\n",
           static_cast<unsigned long long>(options.seed), printable(policy.name).c_str(),
           options.threads);
    if (past) {
        print_past(*past);
    }
    for (const Job& job : jobs) {
        printf("%s: %g years, %s\n", printable(job.profile.name).c_str(), job.profile.years,
               printable(job.profile.about).c_str());
        if (past) {
            print_start(job);
        }
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
    std::ostringstream page;
    const auto print_run = [&](const char* name, const std::string& run,
                               const nlohmann::ordered_json& summary) {
        page << name << " = " << printable(run) << ": "
             << printable(summary.at("profile").get<std::string>()) << ", policy "
             << printable(policy_name(summary)) << ", seed " << summary.at("seed").get<uint64_t>();
        if (summary.contains("from")) {
            page << ", from " << printable(summary.at("from").at("name").get<std::string>());
        }
        page << (summary.at("complete").get<bool>() ? "" : ", ended early") << '\n';
    };
    bool equal = false;
    try {
        print_run("A", runs[0], a);
        print_run("B", runs[1], b);
        for (const std::string& doubt : doubts_of_comparison(a, b)) {
            page << "Not comparable: " << printable(doubt) << '\n';
        }
        equal = print_comparison(page, a, b);
    } catch (const nlohmann::json::exception&) {
        throw InputError(runs[0] + " and " + runs[1] +
                         ": cannot be compared: one has a value of another type than a run stores");
    }
    std::cout << page.str();
    return equal ? 0 : 1;
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
    command.add("--from", options.from,
                "Go on from a phone in use: its statistics record (unit 2491), an ageing event, or "
                "a directory or stream of events, whose newest ageing event counts");
    command.add("--phone", options.phones,
                "Key of the phone to go on from if a stream has several");
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
        cellwarden::complain(CELLWARDEN_TOOL_NAME, error.what());
        return TROUBLE;
    }
}

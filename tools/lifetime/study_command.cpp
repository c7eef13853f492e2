#include "tools/lifetime/study_command.h"

#include <cstdio>
#include <iostream>

#include "common/input.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/runner.h"
#include "tools/lifetime/shipped.h"
#include "tools/lifetime/study_runner.h"
#include "tools/lifetime/study_summary.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

Shard shard_of(const std::string& text) {
    Shard shard;
    int length = 0;
    if (sscanf(text.c_str(), "%d/%d%n", &shard.index, &shard.count, &length) != 2 ||
        static_cast<size_t>(length) != text.size() || shard.index < 1 ||
        shard.index > shard.count) {
        throw InputError("--shard " + text + ": expected I/N with 1 <= I <= N");
    }
    return shard;
}

// Runs one phone's lives as runs of their own.
int run_phone(const Study& study, const StudyOptions& options) {
    std::vector<Job> jobs;
    const StudyPhone phone = phone_of(study, options.phone);
    for (const CarePolicy& policy : study.policies) {
        jobs.push_back({phone.profile, policy, phone.seed, options.out / policy.name});
        refuse_to_overwrite(jobs.back().directory, options.overwrite);
    }
    return run_jobs(jobs, options.threads);
}

int finish_study(const Study& study, const std::vector<fs::path>& parts, const fs::path& out) {
    write_outcomes(study, parts, out);
    const nlohmann::ordered_json summary = summary_of(study, out);
    store_file(out / "summary.json", summary.dump(2) + "\n");
    print_summary(std::cout, summary);
    return 0;
}

}  // namespace

void add_study_command(CommandLine& line, StudyOptions& options) {
    Command command =
        line.add_command("study", "Simulate many phones under several policies, and compare them");
    command.add("study", options.study, "Name of a shipped study or study file").required();
    command
        .add("--out", options.out,
             "Directory for the results; a study that was interrupted continues there")
        .show_default();
    command.add("--phones", options.changes.phones, "Number of phones; default: the study's own")
        .between(1, 10'000'000);
    command.add("--years", options.changes.years, "Years to simulate; default: the study's own")
        .between(0.001, 20.0);
    command.add("--seed", options.changes.seed,
                "Seed of the random numbers; default: the study's own");
    command.add("--policies", options.changes.policies,
                "Names of policies or policy files; all others are compared with the first; "
                "default: the study's own");
    command.add("--cell", options.changes.cell,
                "Name of a cell or cell file, for all phones; default: the profiles' own");
    command.add("--jobs", options.threads, "Number of lives that run at the same time")
        .between(1, 1024)
        .show_default();
    command
        .add("--shard", options.shard,
             "I/N: live only every N-th phone, from the I-th on, in a directory of its own")
        .show_default();
    command.add("--merge", options.merged,
                "Directories of all shards: write the results of the study to --out");
    command
        .add("--phone", options.phone,
             "Number of a phone: run only its lives, with all results of a run for each policy")
        .between(1, 10'000'000);
    command.add_flag("--events", options.stores_events, "Store the telemetry events of each life");
    command.add_flag("--overwrite", options.overwrite,
                     "Delete the results of another study in the directory");
}

int run_study(const StudyOptions& options) {
    const Study study = load_study(find_study(options.study), options.changes);
    const Shard shard = shard_of(options.shard);
    if (options.phone > study.phones) {
        throw InputError("--phone " + std::to_string(options.phone) + ": the study has " +
                         std::to_string(study.phones) + " phones");
    }
    if (options.phone > 0) {
        return run_phone(study, options);
    }
    prepare_study_directory(study, options.out, options.overwrite);
    if (!options.merged.empty()) {
        return finish_study(study, {options.merged.begin(), options.merged.end()}, options.out);
    }
    const int code = run_lives(study, {options.out, shard, options.threads, options.stores_events});
    if (code != 0 || shard.count > 1) {
        return code;
    }
    return finish_study(study, {options.out}, options.out);
}

}  // namespace cellwarden::lifetime

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>

#include "bench/campaign/call_faults.h"
#include "bench/campaign/campaign.h"
#include "phone/phone_attributes.h"
#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr int64_t START_WALL_S = 1'767'225'600;  // 2026-01-01
// The first light cycle comes after 10 s, at a different place of the history in every run.
constexpr auto SESSION_LIMIT = std::chrono::seconds(9);
constexpr int ATTEMPTS = 5;

std::string older_record() {
    BattStat stat{};
    stat.initialize = 1;
    stat.version = {5, 2, 3};
    stat.fcc_mah[0] = 4800;
    stat.online_time = 10 * 864'000 - 15'000;
    stat.initialized_time = START_WALL_S - int64_t{100} * 86'400;
    stat.total_cycle_count = 1'204'000;
    stat.latest_user_soh = stat.latest_filtered_soh = stat.latest_raw_soh = 48'000;
    stat.latest_predicted_soh = 48'500;
    stat.min_temp = 150;
    stat.max_temp = 350;
    std::string bytes(sizeof stat, '\0');
    memcpy(bytes.data(), &stat, sizeof stat);
    return bytes;
}

struct Outcome {
    Transcript transcript;
    Units units;
    bool struck = true;  // the failing call was reached
    std::string error;   // empty: the history was played to its end
};

struct Fault {
    std::string name;  // name of the failing device call; empty: no failing call
    int call = 0;      // number of the failing call, from 1
    std::string path;  // path of the broken attribute; empty: no broken attribute
    AttributeFault kind = AttributeFault::MISSING;
};

// Plays the history, kills the daemon, and starts it again on the stored units. Returns false if
// the run took so long that a light cycle may have occurred.
bool play_history(Stage& stage, const Fault& fault) {
    start_stage(stage);
    if (!fault.path.empty()) {
        break_attribute(stage, fault.path, fault.kind);
    }
    double since_s = 0;
    for (const TimedAction& entry : stage.scenario.timeline) {
        play(stage, entry, since_s);
        since_s = entry.at_s;
    }
    bool in_time = std::chrono::steady_clock::now() - stage.start < SESSION_LIMIT;
    kill_daemon(stage);

    stage.phone.shutdown_phase = 3;
    start_stage(stage);
    play(stage, {0, SendUevent{"power_supply", "battery"}}, 0);
    play(stage, {90'000, SendUevent{"power_supply", "battery"}}, 0);
    play(stage, {60, SetShutdownPhase{4}}, 0);
    in_time = in_time && std::chrono::steady_clock::now() - stage.start < SESSION_LIMIT;
    kill_daemon(stage);
    return in_time;
}

Outcome run_with(Stage& stage, const Fault& fault) {
    const fs::path fault_file = stage.state_dir / "faults" / fault.name;
    for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
        reset_stage(stage);
        if (!fault.name.empty()) {
            std::ofstream(fault_file) << fault.call;
        }
        try {
            if (!play_history(stage, fault)) {
                continue;
            }
        } catch (const StageError& error) {
            kill_daemon(stage);
            return {stage.transcript, read_units(stage), true, error.what()};
        }
        return {stage.transcript, read_units(stage), fault.name.empty() || !fs::exists(fault_file),
                ""};
    }
    return {{}, {}, true, "the history took more than 9 s: the machine is too slow"};
}

// Returns the lines that only one of the two transcripts contains.
Transcript difference(Transcript one, Transcript other) {
    std::sort(one.begin(), one.end());
    std::sort(other.begin(), other.end());
    Transcript lines;
    std::set_symmetric_difference(one.begin(), one.end(), other.begin(), other.end(),
                                  std::back_inserter(lines));
    return lines;
}

int judge(const std::string& name, const Outcome& outcome, const Transcript& wrong) {
    const auto record = outcome.units.find(2491);
    const bool valid = record != outcome.units.end() && record_is_valid(record->second);
    if (outcome.error.empty() && wrong.empty() && valid) {
        return 0;
    }
    printf("  ERROR: %s: %s%s\n", name.c_str(), outcome.error.c_str(),
           valid ? "" : " the stored record is not valid");
    for (const std::string& line : wrong) {
        printf("    not explained by the fault: %s\n", line.c_str());
    }
    return 1;
}

int run_call_faults(Stage& stage, const Outcome& clean, bool brief) {
    int tried = 0;
    int wrong = 0;
    printf("failing device call                              times   loss\n");
    for (const CallFault& row : call_faults()) {
        int places = 0;
        for (int call = 1; !brief || call == 1; call++) {
            const Outcome outcome = run_with(stage, {.name = row.name, .call = call, .path = ""});
            if (!outcome.struck) {
                break;
            }
            places++;
            wrong += judge(std::string(row.name) + " at call " + std::to_string(call), outcome,
                           unexplained(row, difference(clean.transcript, outcome.transcript)));
        }
        printf("  %-46s %5d   %s\n", row.name, places, row.loss);
        fflush(stdout);
        tried += places;
    }
    printf("device-call faults tried: %d, errors: %d\n\n", tried, wrong);
    return wrong;
}

// A missing or unreadable attribute must have the same effect as an empty one, and must not cause a
// log line that a run without faults does not have.
int run_attribute_faults(Stage& stage, const Outcome& clean, bool brief) {
    const auto is_write_to = [](const std::string& line, const std::string& name) {
        return line.find(" write " + name + " ") != line.npos;
    };
    const auto is_new_log = [&clean](const std::string& line) {
        const std::string text = line.substr(line.find(' '));
        return text.starts_with(" log ") &&
               std::none_of(clean.transcript.begin(), clean.transcript.end(),
                            [&text](const auto& other) { return other.ends_with(text); });
    };
    int tried = 0;
    int wrong = 0;
    std::set<std::string> seen;
    reset_stage(stage);
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        const std::string path = attribute_path(stage.phone, static_cast<SysfsParamId>(id));
        const std::string name(phone::attribute_name(path));
        if (!seen.insert(path).second || (brief && id % 32 != 1)) {
            continue;
        }
        const Outcome empty = run_with(stage, {"", 0, path, AttributeFault::EMPTY});
        for (const auto kind : {AttributeFault::MISSING, AttributeFault::UNREADABLE}) {
            const Outcome outcome = run_with(stage, {"", 0, path, kind});
            Transcript lines = difference(empty.transcript, outcome.transcript);
            std::erase_if(lines, [&](const auto& line) { return is_write_to(line, name); });
            std::copy_if(outcome.transcript.begin(), outcome.transcript.end(),
                         std::back_inserter(lines), is_new_log);
            wrong += judge(name + (kind == AttributeFault::MISSING ? " missing" : " unreadable"),
                           outcome, lines);
            tried++;
        }
    }
    printf("attribute faults tried: %d (%zu attributes), errors: %d\n\n", tried,
           static_cast<size_t>(tried / 2), wrong);
    return wrong;
}

}  // namespace

bool record_is_valid(const std::string& bytes) {
    return bytes.size() == sizeof(BattStat) && bytes.starts_with("\x01\x05\x02\x04");
}

void reset_stage(Stage& stage) {
    write_units(stage, stage.scenario.units);
    std::ofstream(stage.state_dir / "units" / "2491", std::ios::binary) << older_record();
    for (const char* folder : {"outbox", "faults"}) {
        fs::remove_all(stage.state_dir / folder);
        fs::create_directories(stage.state_dir / folder);
    }
    stage.phone = stage.scenario.phone;
    stage.clock = {static_cast<int64_t>(stage.scenario.uptime_s), START_WALL_S};
    stage.cycles = 0;
    stage.transcript.clear();
}

int run_fault_campaign(Stage& stage, bool brief) {
    const Outcome clean = run_with(stage, {});
    if (judge("the history without a fault", clean,
              difference(clean.transcript, run_with(stage, {}).transcript)) != 0) {
        return 1;
    }
    printf("history: %d cycles, %zu actions of the daemon, equal in two runs\n\n", stage.cycles,
           clean.transcript.size());
    const int wrong = run_call_faults(stage, clean, brief);
    return wrong + run_attribute_faults(stage, clean, brief);
}

}  // namespace cellwarden::bench

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>

#include "bench/campaign/campaign.h"
#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int CYCLES = 4;  // per session; each cycle saves, because the phone is shutting down
constexpr int KILLS_PER_SAVE = 8;  // kills with the same stored units
constexpr double CYCLE_TIME_S = 3600;

// The content of the store at the start and after each cycle of a session without a kill.
struct Reference {
    std::vector<Units> after;
    std::vector<size_t> lines;  // of the transcript, after each
    Transcript transcript;
    double cycle_us = 0;  // the longest cycle
};

struct Found {
    int tried = 0;
    int running_cycle_lost = 0;  // the store has the content of the previous cycle
    int running_cycle_kept = 0;  // all of the running cycle is stored
    int between = 0;             // some units of the running cycle are stored, others not yet
    int inside_a_write = 0;      // an incomplete new unit is next to the old one
    int wrong = 0;
};

// The state at a start: store, phone and clocks.
struct Start {
    Units units;
    phone::Phone phone;
    ClockTimes clock;
};

void begin(Stage& stage, const Start& start) {
    write_units(stage, start.units);
    stage.phone = start.phone;
    stage.phone.shutdown_phase = 4;
    stage.phone.load_ma = 20;  // the battery lasts for the hours of a session
    stage.clock = start.clock;
    stage.transcript.clear();
    stage.cycles = 0;
    start_stage(stage);
}

void run_cycle(Stage& stage) {
    pass_time(stage, CYCLE_TIME_S);
    send_battery_uevent(stage);
    finish_cycle(stage);
}

Reference run_reference(Stage& stage, const Start& start) {
    Reference reference;
    begin(stage, start);
    reference.after.push_back(start.units);
    reference.lines.push_back(0);
    for (int cycle = 0; cycle < CYCLES; cycle++) {
        const auto since = Clock::now();
        run_cycle(stage);
        const std::chrono::duration<double, std::micro> took = Clock::now() - since;
        reference.cycle_us = std::max(reference.cycle_us, took.count());
        reference.after.push_back(read_units(stage));
        reference.lines.push_back(stage.transcript.size());
    }
    kill_daemon(stage);
    reference.transcript = stage.transcript;
    return reference;
}

bool half_made_unit_is_left(const Stage& stage) {
    const fs::directory_iterator files(stage.state_dir / "units");
    return std::any_of(fs::begin(files), fs::end(files),
                       [](const auto& file) { return file.path().filename().string()[0] == '.'; });
}

void report_error(Found& found, const char* what) {
    printf("  ERROR: kill %d: %s\n", found.tried, what);
    found.wrong++;
}

// A kill between opening and writing an attribute leaves an empty file on the bench. In sysfs,
// opening has no effect.
bool is_write_broken_off(const std::string& line) {
    return line.find(" write ") == line.find(' ') && line.ends_with(' ');
}

// Checks that each unit has its content from before or after the killed cycle, and that every
// action of the daemon is one of the reference run up to the end of that cycle.
void judge_kill(const Stage& stage, const Reference& reference, size_t cycle, Found& found) {
    const Units& before = reference.after[cycle];
    const Units& after = reference.after[cycle + 1];
    const Units left = read_units(stage);
    found.inside_a_write += half_made_unit_is_left(stage) ? 1 : 0;
    if (left == before) {
        found.running_cycle_lost++;
    } else if (left == after) {
        found.running_cycle_kept++;
    } else {
        found.between++;
    }
    for (const auto& [unit, bytes] : left) {
        const auto old = before.find(unit);
        const auto fresh = after.find(unit);
        if (!(old != before.end() && old->second == bytes) &&
            !(fresh != after.end() && fresh->second == bytes)) {
            report_error(found, "a unit has neither its old nor its new content");
        }
    }
    if (left.size() < before.size()) {
        report_error(found, "a unit is missing");
    }
    Transcript did = stage.transcript;
    std::erase_if(did, is_write_broken_off);
    Transcript may(
        reference.transcript.begin(),
        reference.transcript.begin() + static_cast<std::ptrdiff_t>(reference.lines[cycle + 1]));
    std::sort(did.begin(), did.end());
    std::sort(may.begin(), may.end());
    Transcript strange;
    std::set_difference(did.begin(), did.end(), may.begin(), may.end(),
                        std::back_inserter(strange));
    for (const std::string& line : strange) {
        report_error(found, ("not in the run without a kill: " + line).c_str());
    }
}

BattStat record_of(const Units& units) {
    BattStat stat{};
    const std::string& bytes = units.at(2491);
    memcpy(&stat, bytes.data(), std::min(bytes.size(), sizeof stat));
    return stat;
}

bool totals_have_fallen(const BattStat& before, const BattStat& after) {
    return after.online_time < before.online_time ||
           after.total_cycle_count < before.total_cycle_count ||
           after.total_arrhenius < before.total_arrhenius ||
           after.total_cycle_degradation < before.total_cycle_degradation ||
           !std::equal(before.vt_cet_table.begin(), before.vt_cet_table.end(),
                       after.vt_cet_table.begin(),
                       [](const auto& old, const auto& fresh) { return old <= fresh; });
}

// Checks that the next start continues from the stored record without losing anything.
void judge_restart(Stage& stage, Found& found) {
    const Start left{read_units(stage), stage.phone, stage.clock};
    if (!record_is_valid(left.units.at(2491))) {
        report_error(found, "the stored record is not valid");
    }
    begin(stage, left);
    run_cycle(stage);
    run_cycle(stage);
    kill_daemon(stage);
    const Units saved = read_units(stage);
    if (!record_is_valid(saved.at(2491)) ||
        totals_have_fallen(record_of(left.units), record_of(saved)) ||
        record_of(saved).online_time !=
            record_of(left.units).online_time + uint64_t(CYCLE_TIME_S)) {
        report_error(found, "the restarted daemon did not continue from the stored record");
    }
    for (const std::string& line : stage.transcript) {
        if (line.find("Failed") != line.npos) {
            report_error(found, line.c_str());
        }
    }
}

}  // namespace

int run_kill_campaign(Stage& stage, int kills, uint32_t seed) {
    std::mt19937 random(seed);
    Found found;
    double cycle_us = 0;
    reset_stage(stage);
    Start start{read_units(stage), stage.phone, stage.clock};
    // The first session upgrades the record to the current layout.
    begin(stage, start);
    run_cycle(stage);
    kill_daemon(stage);
    start = {read_units(stage), stage.phone, stage.clock};

    while (found.tried < kills) {
        const Reference reference = run_reference(stage, start);
        cycle_us = std::max(cycle_us, reference.cycle_us);
        for (int i = 0; i < KILLS_PER_SAVE && found.tried < kills; i++) {
            const auto cycle = static_cast<size_t>(random() % CYCLES);
            found.tried++;
            begin(stage, start);
            for (size_t done = 0; done < cycle; done++) {
                run_cycle(stage);
            }
            pass_time(stage, CYCLE_TIME_S);
            send_battery_uevent(stage);
            usleep(static_cast<useconds_t>(
                std::uniform_real_distribution<>(0, 1.1 * reference.cycle_us)(random)));
            kill_daemon(stage);
            judge_kill(stage, reference, cycle, found);
            judge_restart(stage, found);
        }
        start = {read_units(stage), stage.scenario.phone, stage.clock};
    }
    printf(
        "kills while saving: %d (seed %u, at random within %.1f ms)\n"
        "  no unit of the cycle stored              %5d\n"
        "  some units of the cycle stored           %5d\n"
        "  all units of the cycle stored            %5d\n"
        "  killed while a unit was written          %5d\n"
        "  errors                                   %5d\n\n",
        found.tried, seed, cycle_us / 1e3, found.running_cycle_lost, found.between,
        found.running_cycle_kept, found.inside_a_write, found.wrong);
    return found.wrong;
}

}  // namespace cellwarden::bench

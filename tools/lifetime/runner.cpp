#include "tools/lifetime/runner.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "common/text.h"
#include "tools/lifetime/progress.h"

namespace cellwarden::lifetime {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double PERCENT = 100;
constexpr double SHORTEST_DAYS = 0.1;  // outside a range, worth showing

enum class Progress { WAITING, RUNNING, DONE, FAILED };

// A job, and the progress that its thread reports.
struct Running {
    const Job* job = nullptr;
    std::atomic<Progress> progress = Progress::WAITING;
    std::atomic<double> share = 0;  // finished share of the life, 0 to 1
    std::atomic<double> true_soh = 0;
    std::atomic<int32_t> level = 0;
    std::atomic<uint32_t> cycles = 0;
    std::string outside{};  // read it only when the job is done
    Clock::time_point started{};
    std::jthread thread{};
};

// Returns what was outside the range of the cell's terms; empty if nothing was.
std::string outside_text(const Life& life) {
    const double lived_days =
        static_cast<double>(life.time_s) / static_cast<double>(SECONDS_PER_DAY);
    std::string text;
    for (const Outside& outside : outside_of(life.cell)) {
        if (outside.days < SHORTEST_DAYS) {
            continue;
        }
        char part[160];
        (void)snprintf(part, sizeof part, "%s%s: %s %.1f of %.0f days", text.empty() ? "" : ", ",
                       outside.term.c_str(), QUANTITY_NAMES[static_cast<size_t>(outside.quantity)],
                       outside.days, lived_days);
        text += part;
    }
    return text;
}

void live(Running& running) {
    const auto span = static_cast<double>(life_span_s(running.job->profile));
    try {
        (void)run_job(*running.job, stop_signal, [&](const Life& life) {
            running.share = static_cast<double>(life.time_s) / span;
            running.true_soh = life.phone.battery.state_of_health;
            running.level = life.state.levels.soft_charge_mode;
            running.cycles = static_cast<uint32_t>(life.cycles);
            running.outside = outside_text(life);
        });
        running.progress = Progress::DONE;
    } catch (const std::exception& error) {
        complain(PROGRAM, error.what());
        running.progress = Progress::FAILED;
    }
}

void start(Running& running) {
    running.started = Clock::now();
    running.progress = Progress::RUNNING;
    running.thread = std::jthread(live, std::ref(running));
}

std::string progress_line(const Running& running) {
    const double share = std::min(running.share.load(), 1.0);
    const std::chrono::duration<double> taken = Clock::now() - running.started;
    std::string rest = "waits";
    const Progress progress = running.progress;
    if (progress == Progress::DONE || progress == Progress::FAILED) {
        rest = progress == Progress::FAILED ? "failed" : "done";
    } else if (progress == Progress::RUNNING) {
        rest = share > 0 ? duration_text(taken.count() * (1 - share) / share) + " left" : "starts";
    }
    char line[128];
    (void)snprintf(line, sizeof line, "%-12.12s [%s] %3.0f %%  level %d  %s",
                   printable(running.job->profile.name).c_str(), bar_text(share).c_str(),
                   share * PERCENT, running.level.load(), rest.c_str());
    return line;
}

// Draws all lines over the previous ones.
void draw(const std::vector<Running>& all, bool first) {
    if (!first) {
        (void)fprintf(stderr, "\033[%zuA", all.size());
    }
    for (const Running& running : all) {
        (void)fprintf(stderr, "\r\033[K%s\n", progress_line(running).c_str());
    }
}

void print_result(const Running& running) {
    const Progress progress = running.progress;
    const std::string name = printable(running.job->profile.name);
    if (progress != Progress::DONE) {
        printf("%s: %s\n", name.c_str(),
               progress == Progress::FAILED ? "failed" : "was not started");
        return;
    }
    printf("%s: %.2f years, %u cycles, level %d, true state of health %.1f %%; %s\n", name.c_str(),
           running.share * running.job->profile.years, running.cycles.load(), running.level.load(),
           running.true_soh * PERCENT, printable(running.job->directory.string()).c_str());
    if (!running.outside.empty()) {
        printf("%s: outside the ranges of cell %s: %s\n", name.c_str(),
               printable(running.job->profile.cell.name).c_str(),
               printable(running.outside).c_str());
    }
}

}  // namespace

int run_jobs(const std::vector<Job>& jobs, unsigned threads) {
    std::vector<Running> all(jobs.size());
    for (size_t i = 0; i < jobs.size(); i++) {
        all[i].job = &jobs[i];
    }
    catch_signals();
    const bool watched = isatty(STDERR_FILENO) != 0;
    const auto is_at = [](Progress progress) {
        return [progress](const Running& running) { return running.progress == progress; };
    };
    for (bool first = true;; first = false) {
        auto going = std::count_if(all.begin(), all.end(), is_at(Progress::RUNNING));
        for (Running& running : all) {
            if (running.progress == Progress::WAITING && going < threads && stop_signal == 0) {
                start(running);
                going++;
            }
        }
        if (watched) {
            draw(all, first);
        }
        if (going == 0) {
            break;
        }
        (void)usleep(1'000'000 / LOOKS_PER_SECOND);
    }
    std::for_each(all.begin(), all.end(), print_result);
    if (stop_signal != 0) {
        return 128 + stop_signal;
    }
    return std::any_of(all.begin(), all.end(), is_at(Progress::FAILED));
}

}  // namespace cellwarden::lifetime

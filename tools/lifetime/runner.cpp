#include "tools/lifetime/runner.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int LOOKS_PER_SECOND = 5;
constexpr int BAR_WIDTH = 24;
constexpr double PERCENT = 100;

volatile std::sig_atomic_t stop_signal = 0;

void note_signal(int signal) {
    stop_signal = signal;
}

void catch_signals() {
    struct sigaction action = {};
    action.sa_handler = note_signal;
    for (const int signal : {SIGINT, SIGTERM}) {
        (void)sigaction(signal, &action, nullptr);
    }
}

// What a run's process tells the one that watches; lies in memory that both share.
struct Progress {
    std::atomic<double> share;  // of the life, 0 to 1
    std::atomic<double> true_soh;
    std::atomic<int32_t> level;
    std::atomic<uint32_t> cycles;
};

struct Running {
    const Job* job;
    Progress* progress;
    pid_t pid = 0;  // 0: not started; -1: ended
    bool failed = false;
    Clock::time_point started{};
};

Progress* share_progress(size_t count) {
    void* memory = mmap(nullptr, count * sizeof(Progress), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error(std::string("cannot share memory: ") + strerror(errno));
    }
    return new (memory) Progress[count]{};
}

[[noreturn]] void run_in_child(const Running& running, uint64_t seed) {
    int code = 0;
    try {
        const auto span = static_cast<double>(life_span_s(running.job->profile));
        Progress& progress = *running.progress;
        (void)run_profile(running.job->profile, seed, running.job->directory, stop_signal,
                          [&](const Life& life) {
                              progress.share = static_cast<double>(life.time_s) / span;
                              progress.true_soh = life.phone.battery.state_of_health;
                              progress.level = life.state.levels.soft_charge_mode;
                              progress.cycles = static_cast<uint32_t>(life.cycles);
                          });
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-lifetime: " << error.what() << std::endl;
        code = 1;
    }
    _exit(code);
}

void start(Running& running, uint64_t seed) {
    const pid_t parent = getpid();
    running.started = Clock::now();
    running.pid = fork();
    if (running.pid < 0) {
        throw std::runtime_error(std::string("cannot start a process: ") + strerror(errno));
    }
    if (running.pid == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) {
            _exit(1);
        }
        run_in_child(running, seed);
    }
}

std::string duration_text(double seconds) {
    const auto whole = static_cast<int64_t>(std::ceil(seconds));
    return whole < 90 ? std::to_string(whole) + " s" : std::to_string((whole + 59) / 60) + " min";
}

std::string progress_line(const Running& running) {
    const double share = std::min(running.progress->share.load(), 1.0);
    const std::chrono::duration<double> taken = Clock::now() - running.started;
    std::string rest = "waits";
    if (running.pid < 0) {
        rest = running.failed ? "failed" : "done";
    } else if (running.pid > 0) {
        rest = share > 0 ? duration_text(taken.count() * (1 - share) / share) + " left" : "starts";
    }
    std::string bar(static_cast<size_t>(std::lround(share * BAR_WIDTH)), '#');
    bar.resize(BAR_WIDTH, '.');
    char line[128];
    (void)snprintf(line, sizeof line, "%-12.12s [%s] %3.0f %%  level %d  %s",
                   running.job->profile.name.c_str(), bar.c_str(), share * PERCENT,
                   running.progress->level.load(), rest.c_str());
    return line;
}

// Draws all lines over those drawn before.
void draw(const std::vector<Running>& all, bool first) {
    if (!first) {
        (void)fprintf(stderr, "\033[%zuA", all.size());
    }
    for (const Running& running : all) {
        (void)fprintf(stderr, "\r\033[K%s\n", progress_line(running).c_str());
    }
}

// Notes which processes have ended; returns how many go on.
unsigned reap(std::vector<Running>& all) {
    unsigned count = 0;
    for (Running& running : all) {
        int status = 0;
        if (running.pid > 0 && waitpid(running.pid, &status, WNOHANG) == running.pid) {
            running.failed = !WIFEXITED(status) || WEXITSTATUS(status) != 0;
            running.pid = -1;
        }
        count += running.pid > 0 ? 1 : 0;
    }
    return count;
}

void print_result(const Running& running) {
    const Progress& progress = *running.progress;
    if (running.pid == 0 || running.failed) {
        printf("%s: %s\n", running.job->profile.name.c_str(),
               running.failed ? "failed" : "was not started");
        return;
    }
    printf("%s: %.2f years, %u cycles, level %d, true state of health %.1f %%; %s\n",
           running.job->profile.name.c_str(), progress.share * running.job->profile.years,
           progress.cycles.load(), progress.level.load(), progress.true_soh * PERCENT,
           running.job->directory.c_str());
}

}  // namespace

int run_jobs(const std::vector<Job>& jobs, uint64_t seed, unsigned processes) {
    Progress* const progress = share_progress(jobs.size());
    std::vector<Running> all;
    all.reserve(jobs.size());
    for (const Job& job : jobs) {
        all.push_back({.job = &job, .progress = progress + all.size()});
    }
    catch_signals();
    const bool watched = isatty(STDERR_FILENO) != 0;
    bool told = false;
    for (bool first = true;; first = false) {
        unsigned going = reap(all);
        for (Running& running : all) {
            if (running.pid == 0 && going < processes && stop_signal == 0) {
                start(running, seed);
                going++;
            }
        }
        if (watched) {
            draw(all, first);
        }
        if (going == 0) {
            break;
        }
        if (stop_signal != 0 && !told) {
            told = true;
            for (const Running& running : all) {
                if (running.pid > 0) {
                    (void)kill(running.pid, SIGTERM);
                }
            }
        }
        (void)usleep(1'000'000 / LOOKS_PER_SECOND);
    }
    std::for_each(all.begin(), all.end(), print_result);
    if (stop_signal != 0) {
        return 128 + stop_signal;
    }
    return std::any_of(all.begin(), all.end(), [](const Running& one) { return one.failed; });
}

}  // namespace cellwarden::lifetime

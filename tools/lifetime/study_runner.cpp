#include "tools/lifetime/study_runner.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <sstream>
#include <thread>

#include "common/text.h"
#include "decode/event_stream.h"
#include "tools/lifetime/outcomes.h"
#include "tools/lifetime/progress.h"
#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

using Clock = std::chrono::steady_clock;

struct LifeName {
    int phone;
    size_t policy;
};

// What the threads share.
struct Crew {
    const Study& study;
    const StudyRun& run;
    Journal& journal;
    std::vector<LifeName> lives;  // to live
    std::atomic<size_t> next = 0;
    std::atomic<int64_t> lived_s = 0;  // simulated, in this process
    std::atomic<int> running = 0;
    std::atomic<bool> failed = false;
};

// Appends an event to a stream; its phone has the number as its key.
void append_event(std::ostream& events, int phone, int64_t time_s, const Effect& effect) {
    decode::PhoneEvent event{.place = {},
                             .phone = std::to_string(phone),
                             .time_s = time_s,
                             .packed = {effect.bytes.begin(), effect.bytes.end()},
                             .event = {}};
    event.event.name = effect.name;
    decode::write_event(events, event);
}

// Simulates a life and stores its results, unless it is stopped.
void live(Crew& crew, const LifeName& name) {
    const StudyPhone phone = phone_of(crew.study, name.phone);
    const CarePolicy& policy = crew.study.policies[name.policy];
    Life life = begin_life(phone.profile, policy, phone.seed);
    std::ostringstream events;
    if (crew.run.stores_events) {
        life.watch_effect = [&](const Life& lived, const Effect& effect) {
            if (effect.kind == Effect::Kind::EVENT) {
                append_event(events, phone.number, wall_s(lived), effect);
            }
        };
    }
    Outcomes outcomes{.ends = year_ends(crew.study.years),
                      .reference_load_ma = crew.study.reference_load_ma};
    int64_t told_s = 0;
    while (life.time_s < life_span_s(phone.profile)) {
        if (stop_signal != 0 || crew.failed) {
            return;
        }
        live_on(life);
        note_step(outcomes, life);
        if (life.time_s - told_s >= SECONDS_PER_DAY) {
            crew.lived_s += life.time_s - told_s;
            told_s = life.time_s;
        }
    }
    if (crew.run.stores_events) {
        const std::string file = std::to_string(phone.number) + "-" + policy.name + ".pb";
        store_file(crew.run.directory / "events" / file, events.str());
    }
    crew.journal.append(outcome_lines(phone.number, phone.profile.name, policy.name, outcomes));
}

void work(Crew& crew) {
    try {
        for (size_t at = crew.next++; at < crew.lives.size(); at = crew.next++) {
            live(crew, crew.lives[at]);
        }
    } catch (const std::exception& error) {
        if (!crew.failed.exchange(true)) {
            (void)fputs("\n", stderr);
            complain(PROGRAM, error.what());
        }
    }
    crew.running--;
}

void draw_progress(const Crew& crew, int64_t all_lives, Clock::time_point started) {
    const double span_s = static_cast<double>(seconds_of_years(crew.study.years));
    const double share = std::min(
        1.0, static_cast<double>(crew.lived_s) / (span_s * static_cast<double>(crew.lives.size())));
    const std::chrono::duration<double> taken = Clock::now() - started;
    const std::string left =
        share > 0 ? duration_text(taken.count() * (1 - share) / share) + " left" : "starts";
    (void)fprintf(stderr, "\r\033[K[%s] %lld of %lld lives, %d running, %s",
                  bar_text(share).c_str(), static_cast<long long>(crew.journal.life_count()),
                  static_cast<long long>(all_lives), crew.running.load(), left.c_str());
}

}  // namespace

int run_lives(const Study& study, const StudyRun& run) {
    Journal journal(study, run.directory);
    Crew crew{.study = study, .run = run, .journal = journal, .lives = {}};
    for (int phone = 1; phone <= study.phones; phone++) {
        for (size_t policy = 0; policy < study.policies.size(); policy++) {
            if (has_phone(run.shard, phone) && !journal.has_life(phone, policy)) {
                crew.lives.push_back({phone, policy});
            }
        }
    }
    if (run.stores_events) {
        std::filesystem::create_directories(run.directory / "events");
    }
    const int64_t all_lives = journal.life_count() + static_cast<int64_t>(crew.lives.size());
    catch_signals();
    const Clock::time_point started = Clock::now();
    std::vector<std::jthread> threads;
    crew.running = static_cast<int>(std::min<size_t>(run.threads, crew.lives.size()));
    for (int i = crew.running; i > 0; i--) {
        threads.emplace_back(work, std::ref(crew));
    }
    const bool watched = isatty(STDERR_FILENO) != 0;
    while (crew.running > 0) {
        if (watched) {
            draw_progress(crew, all_lives, started);
        }
        (void)usleep(1'000'000 / LOOKS_PER_SECOND);
    }
    if (watched) {
        (void)fputs("\r\033[K", stderr);
    }
    threads.clear();
    std::cout << journal.life_count() << " of " << all_lives << " lives finished\n";
    if (stop_signal != 0) {
        return 128 + stop_signal;
    }
    return crew.failed ? 1 : 0;
}

}  // namespace cellwarden::lifetime

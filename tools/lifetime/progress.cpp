#include "tools/lifetime/progress.h"

#include <cmath>
#include <csignal>
#include <cstdint>

namespace cellwarden::lifetime {
namespace {

constexpr int BAR_WIDTH = 24;

static_assert(std::atomic<int>::is_always_lock_free);  // a signal handler may set it

void note_signal(int signal) {
    stop_signal = signal;
}

}  // namespace

std::atomic<int> stop_signal = 0;

void catch_signals() {
    struct sigaction action = {};
    action.sa_handler = note_signal;
    action.sa_flags = SA_RESTART;  // signals do not interrupt writes
    for (const int signal : {SIGINT, SIGTERM}) {
        (void)sigaction(signal, &action, nullptr);
    }
}

std::string duration_text(double seconds) {
    const auto whole = static_cast<int64_t>(std::ceil(seconds));
    return whole < 90 ? std::to_string(whole) + " s" : std::to_string((whole + 59) / 60) + " min";
}

std::string bar_text(double share) {
    std::string bar(static_cast<size_t>(std::lround(share * BAR_WIDTH)), '#');
    bar.resize(BAR_WIDTH, '.');
    return bar;
}

}  // namespace cellwarden::lifetime

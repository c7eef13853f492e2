#include "tools/lifetime/run.h"

#include <cmath>

#include "tools/lifetime/device.h"
#include "tools/lifetime/figures.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/series.h"

namespace cellwarden::lifetime {
namespace {

constexpr double DAYS_PER_YEAR = 365.25;

void note_level(std::vector<LevelChange>& changes, int32_t& level, const ServiceState& state) {
    if (state.levels.soft_charge_mode != level) {
        level = state.levels.soft_charge_mode;
        changes.push_back({state.usage.online_time, level});
    }
}

void collect_device_output(const Life& life, RunDirectory& run) {
    device.on_log = [&](std::string_view line) { write_log_line(run, wall_s(life), line); };
    device.on_event = [&](std::string_view category, std::string_view name,
                          std::string_view bytes) {
        write_event(run, wall_s(life), category, name, bytes);
    };
}

}  // namespace

int64_t life_span_s(const Profile& profile) {
    return std::llround(profile.years * DAYS_PER_YEAR * static_cast<double>(SECONDS_PER_DAY));
}

Ending run_profile(const Profile& profile, uint64_t seed, const std::filesystem::path& directory,
                   const volatile std::sig_atomic_t& stop, const Watch& watch) {
    RunDirectory run = make_run_directory(directory);
    Life life = begin_life(profile, seed);
    connect_device(life);
    collect_device_output(life, run);

    Series series = begin_series(run.series.get());
    std::vector<LevelChange> changes;
    int32_t level = 0;
    int64_t watched_day = 0;
    while (life.time_s < life_span_s(profile) && stop == 0) {
        live_on(life);
        follow_life(series, life);
        note_level(changes, level, life.state);
        if (life.time_s / SECONDS_PER_DAY != watched_day) {
            watched_day = life.time_s / SECONDS_PER_DAY;
            watch(life);
        }
    }
    const Ending ending = stop == 0 ? Ending::COMPLETE : Ending::STOPPED;
    end_life(life);
    watch(life);

    nlohmann::ordered_json summary = {{"profile", profile.name},
                                      {"about", profile.about},
                                      {"seed", seed},
                                      {"complete", ending == Ending::COMPLETE}};
    summary.update(figures_of(life, run.event_count, changes));
    finish_run_directory(run, device.units, summary);
    device = Device{};
    return ending;
}

}  // namespace cellwarden::lifetime

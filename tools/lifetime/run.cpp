#include "tools/lifetime/run.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/lifetime/figures.h"
#include "tools/lifetime/provenance.h"
#include "tools/lifetime/run_directory.h"
#include "tools/lifetime/series.h"
#include "tools/lifetime/usage.h"

namespace cellwarden::lifetime {
namespace {

void note_level(std::vector<LevelChange>& changes, int32_t& level, const ServiceState& state) {
    if (state.levels.soft_charge_mode != level) {
        level = state.levels.soft_charge_mode;
        changes.push_back({state.usage.online_time, level});
    }
}

void store_effect(RunDirectory& run, const Life& life, const Effect& effect) {
    if (effect.kind == Effect::Kind::LOG) {
        write_log_line(run, wall_s(life), effect.bytes);
    } else if (effect.kind == Effect::Kind::EVENT) {
        write_event(run, wall_s(life), effect.category, effect.name, effect.bytes);
    }
}

nlohmann::ordered_json past_json(const Profile& profile, const Past& past, const Cell& cell) {
    nlohmann::ordered_json lost = nlohmann::ordered_json::array();
    for (const TermState& state : cell.capacity) {
        lost.push_back({{"term", state.term.name}, {"percent", state.lost_percent}});
    }
    return {{"name", past.name},
            {"digest", past.digest},
            {"source", past.source},
            {"missing", past.missing},
            {"oddities", past.oddities},
            {"start_s", profile.start_wall_s},
            {"design_mah", profile.design_mah},
            {"capacity_percent", profile.capacity_percent},
            {"lost", lost}};
}

}  // namespace

double years_of(int64_t seconds) {
    return static_cast<double>(seconds) / static_cast<double>(SECONDS_PER_DAY) / DAYS_PER_YEAR;
}

int64_t seconds_of_years(double years) {
    return std::llround(years * DAYS_PER_YEAR * static_cast<double>(SECONDS_PER_DAY));
}

int64_t life_span_s(const Profile& profile) {
    return seconds_of_years(profile.years);
}

Ending run_job(const Job& job, const std::atomic<int>& stop, const Watch& watch) {
    RunDirectory run = make_run_directory(job.directory);
    const Profile& profile = job.profile;
    Life life = begin_life(profile, job.policy, job.seed, job.past ? &*job.past : nullptr);
    const nlohmann::ordered_json from =
        job.past ? past_json(profile, *job.past, life.cell) : nlohmann::ordered_json();
    life.watch_effect = [&run](const Life& lived, const Effect& effect) {
        store_effect(run, lived, effect);
    };

    Series series = begin_series(run.series.get());
    std::vector<LevelChange> changes;
    int32_t level = life.state.levels.soft_charge_mode;
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
                                      {"seed", job.seed},
                                      {"complete", ending == Ending::COMPLETE},
                                      {"simulated", true},
                                      {"program", program_version()},
                                      {"years_asked", profile.years},
                                      {"years_lived", years_of(life.time_s)},
                                      {"profile_digest", digest_of(profile.source)},
                                      {"cell_digest", digest_of(profile.cell.source)},
                                      {"policy", policy_provenance(job.policy)}};
    if (job.past) {
        summary["from"] = from;
    }
    summary.update(figures_of(life, run.event_count, changes));
    finish_run_directory(run, life.device.units, summary);
    return ending;
}

}  // namespace cellwarden::lifetime

#include "tools/lifetime/series.h"

#include <algorithm>
#include <ctime>

#include "state/batt_stat.h"
#include "tools/lifetime/figures.h"

namespace cellwarden::lifetime {
namespace {

constexpr double CYCLE_COUNT_PER_CHARGE = 10'000;

void write_row(const Series& series, const Life& life) {
    const ServiceState& state = life.state;
    const Levels levels = levels_of(state);
    const time_t wall = wall_s(life);
    struct tm utc = {};
    char date[16] = {};
    (void)strftime(date, sizeof date, "%Y-%m-%d", gmtime_r(&wall, &utc));
    (void)fprintf(
        series.file,
        "%s,%.3f,%d,%d,%d,%d,%.1f,%.3f,%.3f,%.3f,%.3f,%.3f,%.0f,%.6f,%.6f,%.1f,%.1f,%.1f,%.3f\n",
        date, static_cast<double>(state.usage.online_time) / static_cast<double>(SECONDS_PER_DAY),
        state.levels.soft_charge_mode, levels.by_throughput, levels.by_arrhenius,
        levels.by_full_stay, state.usage.total_cycle_count / CYCLE_COUNT_PER_CHARGE,
        life.phone.battery.state_of_health * 100, state.health.latest_user_soh / SOH_PER_PERCENT,
        state.health.latest_raw_soh / SOH_PER_PERCENT,
        state.health.latest_filtered_soh / SOH_PER_PERCENT,
        state.health.latest_predicted_soh / SOH_PER_PERCENT,
        static_cast<double>(state.ageing.total_arrhenius),
        static_cast<double>(state.ageing.total_full_stay_cap_degradation),
        static_cast<double>(state.ageing.total_cycle_degradation),
        series.temp_sum_c / static_cast<double>(series.cycles), series.temp_min_c,
        series.temp_max_c, series.voltage_max_v);
}

}  // namespace

Series begin_series(FILE* file) {
    (void)fputs(
        "date,online_days,level,level_by_throughput,level_by_arrhenius,level_by_full_stay,"
        "full_charges,true_soh,user_soh,raw_soh,filtered_soh,predicted_soh,"
        "arrhenius,full_stay_loss,cycle_loss,"
        "temp_mean_c,temp_min_c,temp_max_c,voltage_max_v\n",
        file);
    return {.file = file, .row_due_s = SECONDS_PER_DAY};
}

void follow_life(Series& series, const Life& life) {
    const double temp_c = life.phone.battery.temp_c;
    const double voltage_v = phone::terminal_uv(life.phone.battery) / 1e6;
    series.temp_sum_c += temp_c;
    series.temp_min_c = series.cycles == 0 ? temp_c : std::min(series.temp_min_c, temp_c);
    series.temp_max_c = series.cycles == 0 ? temp_c : std::max(series.temp_max_c, temp_c);
    series.voltage_max_v = std::max(series.voltage_max_v, voltage_v);
    series.cycles++;
    if (life.time_s >= series.row_due_s) {
        write_row(series, life);
        const int64_t next_midnight = (life.time_s / SECONDS_PER_DAY + 1) * SECONDS_PER_DAY;
        series = {.file = series.file, .row_due_s = next_midnight};
    }
}

}  // namespace cellwarden::lifetime

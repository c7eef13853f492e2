// The statistics through a restart in the middle of a long random history.
#include <cstdlib>
#include <cstring>
#include <random>
#include <string_view>

#include "core/cycle.h"
#include "platform/unit_store.h"
#include "stats/calls.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

using Random = std::mt19937_64;

template <typename T>
T pick(Random& random, T least, T most) {
    return std::uniform_int_distribution<T>(least, most)(random);
}

// --- What a restart loses: what was remembered since the previous cycle, and the parts of a sum
// below its stored unit. A cycle that leaves nothing open, run before and after it, loses the
// latter only.

// A battery in its eleventh to twelfth period, with a past in every period.
BattStat used_battery(Random& random) {
    BattStat stat{};
    reset_batt_stat(stat);
    stat.online_time = static_cast<uint32_t>(11 * PERIOD_S - pick(random, 0, 20'000));
    stat.total_cycle_count = 2'100'000;
    stat.soc_full_total_time = 77'777;
    stat.latest_user_soh = 46'001;
    const auto fill = [&](auto& values, uint32_t least, uint32_t most) {
        for (auto& value : values) {
            value = static_cast<std::decay_t<decltype(value)>>(pick(random, least, most));
        }
    };
    fill(stat.vt_cet_table, 0, UINT32_MAX);
    fill(stat.ct_charge_table, 0, UINT32_MAX);
    fill(stat.arrhenius_per_10days, 0, 100'000);
    fill(stat.full_stay_capacity_degradation_per_10days, 0, UINT32_MAX);
    fill(stat.cycle_degradation_per_10days, 0, UINT32_MAX);
    fill(stat.user_soh_per_10days, 46'001, 46'100);
    fill(stat.raw_soh_per_10days, 0, UINT16_MAX);
    stat.total_arrhenius = 1'234'567;
    stat.total_full_stay_cap_degradation = 1'999'999;  // stored and loaded, it may lose a unit
    stat.total_cycle_degradation = 3'999'999;
    return stat;
}

SysfsParams random_readings(Random& random) {
    const auto among = [&](int32_t least, int32_t most) { return pick(random, least, most); };
    return snapshot_of({{PARAM_BATTERY_MODEL_NAME, "PELLAMIR_VOSKA"},
                        {PARAM_BATTERY_CHARGE_FULL_DESIGN, 4'480'000},
                        {PARAM_BATTERY_CAPACITY, among(95, 101)},
                        {PARAM_BATTERY_STATUS, among(0, 2)},
                        {PARAM_BATTERY_HEALTH, among(0, 2)},
                        {PARAM_BATTERY_TEMP, among(-150, 550)},
                        {PARAM_BATTERY_VOLTAGE_NOW, among(3'200'000, 4'560'000)},
                        {PARAM_BATTERY_CURRENT_NOW, among(-4'000'000, 4'000'000)},
                        {PARAM_QCOM_CHARGE_FULL, among(4'000'000, 4'200'000)},
                        {PARAM_BOOTUP_SHUTDOWN_PHASE, among(1, 3)},
                        {PARAM_BATT_SOC, among(1, 11'000)},
                        {PARAM_SMART_CHARGING_STATUS, among(0, 1)},
                        {PARAM_VCELL_MAX, among(4000, 4500)},
                        {PARAM_SYSTEM_TEMP_LEVEL, among(0, 15)},
                        {PARAM_LEARNED_CAPACITY, among(4000, 4400)},
                        {PARAM_LEARNING_COUNTER, among(0, 3)},
                        {PARAM_CHARGER_MAX_WATTAGE, among(0, 70'000'000)},
                        {PARAM_ACTIVE_CHARGER_TYPE, among(0, 22)},
                        {PARAM_VBAT_FULL, among(4300, 4500)}});
}

BattStat run_history(uint64_t seed, bool with_restart) {
    static ServiceState state;
    static BattStat stat;
    ChgInsertionRemovalData connection;
    Random random(seed);
    phone = FakePhone{};
    phone.units[UNIT_BATT_STAT] = bytes_of(used_battery(random));
    const auto start = [&] {
        state = ServiceState{};
        memset(&stat, 0xEE, sizeof stat);
        load_records(state, stat, connection);
    };
    const auto cycle = [&](int64_t now, const SysfsParams& snapshot) {
        state.cycle_boot_time = now;
        state.cycle_wall_time = WALL_AT_BOOT + now;
        run_full_cycle(state, stat, connection, snapshot);
    };
    start();
    int64_t now = 100;
    for (int i = 0; i < 200; i++) {
        now += pick(random, 0, 200);
        SysfsParams snapshot = random_readings(random);
        if (i != 100) {
            cycle(now, snapshot);
            continue;
        }
        // No charger, no learning since the driver's start; the phase of shutdown, so that it is saved.
        set_param(snapshot, {PARAM_ACTIVE_CHARGER_TYPE, 0});
        set_param(snapshot, {PARAM_LEARNING_COUNTER, 0});
        set_param(snapshot, {PARAM_BOOTUP_SHUTDOWN_PHASE, 4});
        cycle(now, snapshot);
        if (with_restart) {
            start();
        }
        cycle(now, snapshot);
    }
    return stat;
}

// Sums are cut by less than a unit where they are stored, states of health to halves; nothing else differs.
constexpr std::string_view CUT_UNITS = " HALF_SOH ARRHENIUS MICROPERCENT ";

template <typename T>
void expect_close(T a, T b, int64_t tolerance, const char* name) {
    EXPECT_LE(std::abs(static_cast<int64_t>(a) - static_cast<int64_t>(b)), tolerance)
        << name << ": " << +a << " and " << +b;
}

void expect_close(const DevAttachEntry& a, const DevAttachEntry& b, int64_t, const char* name) {
    EXPECT_EQ(memcmp(&a, &b, sizeof a), 0) << name;
}

template <typename T, size_t N>
void expect_close(const std::array<T, N>& a, const std::array<T, N>& b, int64_t tolerance, const char* name) {
    for (size_t i = 0; i < N; i++) {
        expect_close(a[i], b[i], tolerance, name);
    }
}

TEST(BattStatUpdate, WhatIsStoredIsWhatIsLoaded) {
    for (uint64_t seed = 1; seed <= 4; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const BattStat straight = run_history(seed, false);
        const BattStat restarted = run_history(seed, true);
        EXPECT_NE(straight.total_cycle_degradation, 3'999'999) << "the history moves nothing";
#define BATT_STAT_FIELD(offset, name, unit) \
    expect_close(straight.name, restarted.name, CUT_UNITS.find(" " #unit " ") == CUT_UNITS.npos ? 0 : 1, #name);
#include "stats/batt_stat_fields.inc"
#undef BATT_STAT_FIELD
    }
}

}  // namespace
}  // namespace cellwarden

// A long random history of the statistics record gives the same bytes on every machine.
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstring>

#include "charge/soft_charge.h"
#include "platform/unit_store.h"
#include "stats/batt_stat_update.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

// Random numbers that are the same on every machine.
struct Random {
    uint64_t state;

    uint64_t next() {
        uint64_t mixed = state += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }
    int32_t between(int32_t low, int32_t high) {
        const auto count = static_cast<uint64_t>(int64_t{high} - low + 1);
        return static_cast<int32_t>(low + static_cast<int64_t>(next() % count));
    }
    bool one_in(int32_t n) { return between(1, n) == 1; }
};

struct Battery {
    int32_t temperature_decic = 250;
    int32_t voltage_uv = 3'900'000;
    int32_t soc = 5000;
    int32_t charge_full_uah = 4'700'000;
};

void live(Battery& battery, Random& random) {
    const auto drift = [&](int32_t value, int32_t step, int32_t low, int32_t high) {
        return std::clamp(value + random.between(-step, step), low, high);
    };
    battery.temperature_decic = drift(battery.temperature_decic, 25, -120, 620);
    battery.voltage_uv = drift(battery.voltage_uv, 60'000, 3'000'000, 4'560'000);
    battery.soc = drift(battery.soc, 300, 1, 10'000);
    battery.charge_full_uah = drift(battery.charge_full_uah, 10'000, 3'900'000, 5'100'000);
}

SysfsParams snapshot_of(const Battery& battery, Random& random) {
    const int32_t voltage_uv = random.one_in(50) ? 0 : battery.voltage_uv;
    const int32_t full_mv[] = {4400, 4450, 4480};
    return test::snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5},
                              {PARAM_BATTERY_CAPACITY, battery.soc / 95},
                              {PARAM_BATTERY_TEMP, battery.temperature_decic},
                              {PARAM_BATTERY_VOLTAGE_NOW, voltage_uv},
                              {PARAM_BATTERY_CHARGE_FULL_DESIGN, 5'000'000},
                              {PARAM_QCOM_CHARGE_FULL, battery.charge_full_uah},
                              {PARAM_BATT_SOC, battery.soc},
                              {PARAM_LEARNED_CAPACITY, battery.charge_full_uah / 1003},
                              {PARAM_VBAT_FULL, full_mv[random.between(0, 2)]}});
}

void append_bytes(std::string& trace, const auto&... values) {
    (trace.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
}

std::string sha256_of(const std::string& bytes) {
    std::array<uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), digest.data());
    std::string text;
    for (const uint8_t byte : digest) {
        char hex[3];
        (void)snprintf(hex, sizeof hex, "%02x", byte);
        text += hex;
    }
    return text;
}

// Restarts at chosen online times make twenty hours a life of seven years.
TEST(RandomHistory, GivesTheSameBytesOnEveryMachine) {
    const int32_t restarts_at[] = {0,           863'000,     863'700,     1'727'000,   2'591'900,
                                   10'367'000,  24'191'500,  48'383'000,  60'479'999,  72'575'000,
                                   91'583'000,  92'447'500,  93'311'000,  94'175'000,  140'000'000,
                                   180'000'000, 216'863'500, 217'727'000, 218'590'000, 230'000'000};
    Random random{20261123};
    Battery battery;
    std::string stored;
    std::string trace;
    for (const int32_t online_time : restarts_at) {
        if (!stored.empty()) {
            memcpy(&stored[offsetof(BattStat, online_time)], &online_time, sizeof online_time);
        }
        BattStat stat{};
        ServiceState state;
        phone.units[UNIT_BATT_STAT] = stored;
        init_batt_stat(state, stat);
        state.total_cycle_count += 700'000;
        for (int cycle = 0; cycle < 80; cycle++) {
            live(battery, random);
            state.cycle_boot_time += random.one_in(20) ? 600 : random.between(1, 60);
            state.cycle_wall_time = 1'700'000'000 + state.online_time;
            const SysfsParams snapshot = snapshot_of(battery, random);
            control_soft_charge(state, snapshot);
            update_batt_stat(state, stat, snapshot);
        }
        stored = test::bytes_of(stat);
        trace += stored;
        append_bytes(trace, state.total_arrhenius, state.arrhenius_per_10days, state.total_full_stay_cap_degradation,
                     state.full_stay_capacity_degradation_per_10days, state.total_cycle_degradation,
                     state.cycle_degradation_per_10days, state.latest_user_soh, state.user_charge_full);
    }
    EXPECT_EQ(sha256_of(trace), "386e4245c859936dd73c58d3c4117ff4ad36d0bb448fecc3a96910bd845828f4");
}

}  // namespace
}  // namespace cellwarden

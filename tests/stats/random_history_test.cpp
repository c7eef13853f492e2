// Long random histories of the statistics record: from sane records to the same bytes on every
// machine, and from corrupt ones to no fault that the sanitizers see.
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "charge/soft_charge.h"
#include "core/cycle.h"
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
    int32_t one_of(const std::vector<int32_t>& values) {
        return values[static_cast<size_t>(between(0, static_cast<int32_t>(values.size()) - 1))];
    }
};

template <typename T>
void poke(std::string& image, size_t offset, T value) {
    memcpy(image.data() + offset, &value, sizeof value);
}

// --- Sane histories

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
    const bool unreadable = random.one_in(50);
    return test::snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5},
                              {PARAM_BATTERY_CAPACITY, battery.soc / 95},
                              {PARAM_BATTERY_TEMP, battery.temperature_decic},
                              {PARAM_BATTERY_VOLTAGE_NOW, unreadable ? 0 : battery.voltage_uv},
                              {PARAM_BATTERY_CHARGE_FULL_DESIGN, 5'000'000},
                              {PARAM_QCOM_CHARGE_FULL, battery.charge_full_uah},
                              {PARAM_BATT_SOC, battery.soc},
                              {PARAM_LEARNED_CAPACITY, battery.charge_full_uah / 1003},
                              {PARAM_VBAT_FULL, random.one_of({4400, 4450, 4480})}});
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
            poke(stored, offsetof(BattStat, online_time), online_time);
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

// --- Corrupt records

int32_t some_integer(Random& random) {
    switch (random.between(0, 3)) {
        case 0:
            return random.between(-2, 6);
        case 1:
            return random.between(-1100, 12'000);
        case 2:
            return random.between(900'000, 5'100'000);
        default:
            return static_cast<int32_t>(random.next());
    }
}

std::string corrupt_record(Random& random) {
    std::string image(sizeof(BattStat), '\xFE');
    if (!random.one_in(4)) {
        const bool small = random.one_in(2);
        for (char& byte : image) {
            byte = static_cast<char>(small ? random.one_of({0, 0, 0, 1, 5, 200, 255}) : random.between(0, 255));
        }
    }
    image.replace(0, 4, std::string(1, static_cast<char>(random.one_of({1, 0x7F, 0xFE}))) + "\x05\x02\x04");
    if (!random.one_in(4)) {
        const int64_t edge = random.one_of({INT32_MIN, -864'255, 0, 863'744, 864'000, 2 * 864'000, 92'448'000,
                                            93'312'000, 217'728'000, 218'592'000, INT32_MAX});
        poke(image, offsetof(BattStat, online_time), static_cast<uint32_t>(edge + random.between(-90, 90)));
        poke(image, offsetof(BattStat, soft_charge_mode), random.one_of({-1, 0, 5, 77, -77}));
        image[offsetof(BattStat, soft_charge_override)] = static_cast<char>(random.one_of({0, 0, 0xD2, 0xDF}));
    }
    return image;
}

// Every number of a snapshot at random, those of a known battery of the served model mostly sane.
SysfsParams random_snapshot(Random& random) {
    SysfsParams snapshot = test::snapshot_of({});
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        const uint32_t format = SysfsParamTable[id].format;
        if (format == FORMAT_DECIMAL || format == FORMAT_HEX || format == FORMAT_ENUM) {
            set_param(snapshot, {static_cast<SysfsParamId>(id), some_integer(random)});
        }
    }
    if (!random.one_in(10)) {
        set_param(snapshot, {PARAM_BATTERY_MODEL_NAME, 5});
        set_param(snapshot, {PARAM_BATTERY_CHARGE_FULL_DESIGN, random.one_of({1, 5'000'000})});
        set_param(snapshot, {PARAM_BATT_SOC, random.between(1, 11'001)});
    }
    if (!random.one_in(3)) {
        set_param(snapshot, {PARAM_BATTERY_TEMP, random.between(-1010, 1010)});
        set_param(snapshot, {PARAM_BATTERY_VOLTAGE_NOW, random.between(2'900'000, 5'010'000)});
    }
    return snapshot;
}

uint32_t sum_of(const auto& table) {
    return std::accumulate(table.begin(), table.end(), 0U);
}

RC_GTEST_PROP(RandomHistory, OfACorruptRecordStaysWithinBounds, ()) {
    Random random{*rc::gen::noShrink(rc::gen::arbitrary<uint64_t>())};
    BattStat stat{};
    ChgInsertionRemovalData connection{};
    phone.units[UNIT_BATT_STAT] = corrupt_record(random);
    ServiceState state;
    load_records(state, stat, connection);
    for (int cycle = 0; cycle < 25; cycle++) {
        const int64_t boot_time =
            state.cycle_boot_time + (random.one_in(10) ? random.between(-500, 1500) : random.between(0, 100));
        const int64_t grid_time = state.soft_charge.grid_time;
        const uint32_t seconds_before = sum_of(state.vt_cet_table);
        const uint32_t charge_before = sum_of(state.ct_charge_table) - state.total_cycle_count;
        state.cycle_boot_time = boot_time;
        state.cycle_wall_time = random.between(0, INT32_MAX);
        run_full_cycle(state, stat, connection, random_snapshot(random));

        // Every second that passed since the previous update lies in a cell, and every charge.
        const bool updated = state.soft_charge.grid_time == boot_time && grid_time != 0;
        const auto passed = static_cast<uint32_t>(updated ? std::max<int64_t>(boot_time - grid_time, 0) : 0);
        RC_ASSERT(sum_of(state.vt_cet_table) - seconds_before == passed);
        RC_ASSERT(sum_of(state.ct_charge_table) - state.total_cycle_count == charge_before);
        RC_ASSERT(stat.initialize != 0 && stat.initialize != 0xFF);
    }
}

}  // namespace
}  // namespace cellwarden

// Many random lives of a phone, with everything that the daemon did in them pinned by digests: the
// attributes it wrote, its log, units and events in their order, and the record after every cycle.
// Where a digest differs, the trace that was digested is left in the test's working directory:
// compare it with that of the last good build.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

#include "cycle/cycle.h"
#include "platform/unit_store.h"
#include "state/wrapping.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

// Random numbers that are the same on every machine.
struct Random {
    uint64_t state;

    uint64_t next() {
        uint64_t mixed = state = wrapping_add(state, 0x9E3779B97F4A7C15);
        mixed = wrapping_mul(mixed ^ (mixed >> 30), 0xBF58476D1CE4E5B9);
        mixed = wrapping_mul(mixed ^ (mixed >> 27), 0x94D049BB133111EB);
        return mixed ^ (mixed >> 31);
    }
    int64_t between(int64_t low, int64_t high) {
        return low + static_cast<int64_t>(next() % static_cast<uint64_t>(high - low + 1));
    }
    bool one_in(int n) { return between(1, n) == 1; }
    template <typename Values>
    auto among(const Values& values) {
        return std::data(values)[next() % std::size(values)];
    }
    template <typename T>
    T among(std::initializer_list<T> values) {
        return std::data(values)[next() % std::size(values)];
    }
};

// A reading drifts by up to `step`, jumps anywhere, or to a multiple of `grain`, where borders of
// the rules lie, and to its neighbours.
struct Reading {
    SysfsParamId id;
    int32_t low, high, step, grain;
};
constexpr int32_t DESIGN_UAH = 5'000'000;
constexpr Reading READINGS[] = {
    {PARAM_BATTERY_CAPACITY, 0, 101, 2, 5},
    {PARAM_BATTERY_TEMP, -120, 620, 30, 50},
    {PARAM_BATTERY_TEMP, -1010, 1010, 10, 1000},
    {PARAM_BATTERY_VOLTAGE_NOW, 2'900'000, 4'600'000, 60'000, 10'000},
    {PARAM_BATTERY_VOLTAGE_NOW, 3'400'000, 3'600'000, 60'000, 500'000},
    {PARAM_BATTERY_VOLTAGE_NOW, 0, 5'100'000, 60'000, 1'000'000},
    {PARAM_BATTERY_CURRENT_NOW, -5'000'000, 5'000'000, 400'000, 1'000'000},
    {PARAM_BATTERY_CURRENT_NOW, -70'000'000, 1000, 400'000, 32'768'000},
    {PARAM_USB_ONLINE, 0, 1, 1, 1},
    {PARAM_USB_ONLINE, -1, 3, 1, 1},
    {PARAM_WIRELESS_ONLINE, 0, 1, 1, 1},
    {PARAM_WIRELESS_ONLINE, -1, 3, 1, 1},
    {PARAM_USB_VOLTAGE_NOW, -5, 20'000'000, 1'000'000, 1'000'000},
    {PARAM_QCOM_CHARGE_FULL, 3'900'000, 5'100'000, 20'000, DESIGN_UAH / 100},
    {PARAM_QCOM_CHARGE_FULL, -5, 10, 1, 1},
    {PARAM_LRC_CHARGE_DISABLE, 0, 1, 1, 1},
    {PARAM_LRC_INPUT_SUSPEND, 0, 1, 1, 1},
    {PARAM_BOOTUP_SHUTDOWN_PHASE, 0, 4, 1, 4},
    {PARAM_BATT_AGING_LEVEL, -1, 5, 1, 1},
    {PARAM_BATT_SOC, 1, 11'002, 300, 1000},
    {PARAM_SMART_CHARGING_STATUS, -1, 2, 1, 1},
    {PARAM_VCELL_MAX, 3000, 4600, 50, 10},
    {PARAM_VCELL_MAX, 30'000, 70'000, 50, 32'768},
    {PARAM_SYSTEM_TEMP_LEVEL, -1, 21, 1, 5},
    {PARAM_SYSTEM_TEMP_LEVEL_MAX, 14, 20, 1, 1},
    {PARAM_SDM_THERM, -200, 700, 50, 50},
    {PARAM_SDM_THERM_ZONE_TEMP, -20'000, 70'000, 5000, 100},
    {PARAM_LEARNED_CAPACITY, 0, 70'000, 20, 65'536},
    {PARAM_LEARNED_CAPACITY, 3900, 5100, 20, 5},
    {PARAM_LEARNING_COUNTER, -5, 70'000, 2, 65'536},
    {PARAM_CHARGER_MAX_WATTAGE, -5, 90'000'000, 3'000'000, 5'000'000},
    {PARAM_ACTIVE_CHARGER_TYPE, -1, 23, 2, 1},
    {PARAM_VBAT_FULL, 900, 5100, 40, 1000},
    {PARAM_VBAT_FULL, 4200, 4500, 40, 10},
    {PARAM_REG_AICL_STATUS, 0, 15, 4, 4},
};

const Given TEXTS[] = {
    {PARAM_BATTERY_STATUS, "Charging"},
    {PARAM_BATTERY_STATUS, "Discharging"},
    {PARAM_BATTERY_STATUS, "Full"},
    {PARAM_BATTERY_HEALTH, "Warm"},
    {PARAM_BATTERY_HEALTH, "Good"},
    {PARAM_BATTERY_HEALTH, "Hot"},
    {PARAM_BATTERY_CHARGE_FULL_DESIGN, "5000000"},
    {PARAM_BATTERY_CHARGE_FULL_DESIGN, "4999999"},
    {PARAM_BATTERY_CHARGE_FULL_DESIGN, "300000000"},
    {PARAM_QCOM_USB_REAL_TYPE, "PD"},
    {PARAM_QCOM_USB_REAL_TYPE, ""},
    {PARAM_QCOM_USB_REAL_TYPE, "exactly15chars_"},
    {PARAM_QCOM_USB_REAL_TYPE, "exactly16chars__"},
    {PARAM_WLS_TYPE_TEXT, "EPP"},
    {PARAM_WLS_TYPE_TEXT, "a wireless charger's text"},
};

int32_t next_value(const Reading& reading, int32_t present, Random& random) {
    const auto step = random.between(-reading.step, reading.step);
    switch (random.between(0, 3)) {
        case 0:
            return static_cast<int32_t>(random.between(reading.low, reading.high));
        case 1: {
            const auto multiple = random.between(reading.low / reading.grain, reading.high / reading.grain);
            return static_cast<int32_t>(multiple * reading.grain + random.between(-1, 1));
        }
        default:
            return static_cast<int32_t>(std::clamp<int64_t>(present + step, reading.low, reading.high));
    }
}

void change_readings(SysfsParams& snapshot, Random& random) {
    for (int64_t left = random.one_in(10) ? 20 : random.between(0, 4); left > 0; left--) {
        const Reading reading = random.among(READINGS);
        set_param(snapshot, {reading.id, next_value(reading, param_integer(snapshot, reading.id), random)});
        if (random.one_in(300)) {
            set_param(snapshot, {reading.id, random.among({INT32_MIN, INT32_MAX, -1, 0})});
        }
    }
    if (random.one_in(4)) {
        set_param(snapshot, random.among(TEXTS));
    }
    const bool known = !random.one_in(60);
    set_param(snapshot, {PARAM_BATTERY_MODEL_NAME, known ? "PELLAMIR_VOSKA" : "ORWEN_4480MV_V2D7"});
}

// A record of a used battery, its online time shortly before a border and its sums near those that
// decide a level.
BattStat used_battery(Random& random) {
    BattStat stat{};
    reset_batt_stat(stat);
    const int64_t borders[] = {PERIOD_S - 256, PERIOD_S,          PERIOD_S + 255,          2 * PERIOD_S,
                               7 * PERIOD_S,   24 * PERIOD_S + 9, 107 * PERIOD_S,          107 * PERIOD_S + 400'000,
                               108 * PERIOD_S, 109 * PERIOD_S,    int64_t{252} * PERIOD_S, int64_t{253} * PERIOD_S};
    stat.online_time = static_cast<uint32_t>(random.among(borders));
    stat.online_time -= static_cast<uint32_t>(random.between(0, 1500));
    const auto fill = [&](auto& values, int64_t low, int64_t high) {
        for (auto& value : values) {
            value = static_cast<std::decay_t<decltype(value)>>(random.between(low, high));
        }
    };
    const uint64_t periods = stat.online_time / PERIOD_S;
    const int64_t soh = random.between(78'000, 100'000);
    const int64_t arrhenius = random.among({61'033, 61'034, 60'700, 60'866});
    const int64_t full_stay = std::max<int64_t>((soh - 80'000) * 1000 / 108, 300);
    stat.latest_filtered_soh = static_cast<uint16_t>(soh / 2);
    stat.latest_user_soh = static_cast<uint16_t>(random.one_in(5) ? 0 : random.between(39'000, 50'000));
    stat.total_cycle_count = random.among({210'000U, 1'000'000U, 2'000'000U, 4'000'000U, 11'000'000U, 13'000'000U});
    stat.total_cycle_count -= static_cast<uint32_t>(random.between(0, 5000));
    stat.soft_charge_mode = static_cast<uint32_t>(random.one_in(8) ? -1 : random.between(0, 5));
    stat.soft_charge_override = random.one_in(4) ? random.among<uint8_t>({0xE7, 0xD2, 0xDF, 0xC3}) : uint8_t{0};
    fill(stat.soft_charge1_onlinetime, 0, 3);
    fill(stat.vt_cet_table, 0, 9999);
    fill(stat.ct_charge_table, 0, 9999);
    fill(stat.fcc_mah, 0, 5000);
    fill(stat.first_soh_time, 0, 1);
    fill(stat.arrhenius_per_10days, arrhenius, arrhenius + 1);
    fill(stat.full_stay_capacity_degradation_per_10days, full_stay - 300, full_stay + 300);
    fill(stat.cycle_degradation_per_10days, 0, 50'000);
    fill(stat.user_soh_per_10days, 39'000, 50'000);
    stat.total_arrhenius = static_cast<uint32_t>(arrhenius * 108 / 100);
    stat.total_full_stay_cap_degradation = static_cast<uint32_t>(full_stay);
    stat.total_cycle_degradation = static_cast<uint32_t>(random.between(0, 9'000'000));
    stat.soc_full_total_time = static_cast<uint64_t>(random.between(0, 9'000'000));
    for (size_t i = 0; i < std::min<uint64_t>(periods, PERIOD_COUNT); i++) {
        const bool decided = !random.one_in(6);
        stat.arrhenius_lv[i] = static_cast<uint8_t>(decided ? random.between(0, 5) : 255);
        stat.full_stay_capacity_degradation_aging_lv[i] = static_cast<uint8_t>(decided ? random.between(1, 3) : 255);
    }
    return stat;
}

std::string stored_record(Random& random) {
    std::string record = bytes_of(used_battery(random));
    if (random.one_in(8)) {
        record[static_cast<size_t>(random.between(0, 3))] = static_cast<char>(random.among({-1, 3, 4, 5}));
    }
    return record;
}

void set_units(Random& random) {
    using namespace std::string_literals;
    phone.units[UNIT_BATT_STAT] = stored_record(random);
    phone.units[UNIT_STARTUP_PROCESS] = random.among({"\xAB\0\0\0"s, "\0\0\0\0"s});
    phone.units[UNIT_CAMERA_CALIBRATION] = random.among({"\0"s, "\1"s, "\2"s});
    phone.units[UNIT_CHARGE_DISABLE] = random.among({"\0"s, "\1"s});
    phone.units[UNIT_HEAT_COUNT] = random.among({"\5"s, "\xFE"s, ""s});
    phone.units[UNIT_HEAT_TIME] = random.among({"12345678"s, "123"s});
    phone.units[UNIT_PRODUCTION_DATE] = random.among({"250401"s, "251301"s, "2504"s});
    phone.units[UNIT_FIRST_USAGE_DATE] = random.among({"\1\2\3\4"s, "\1\2\3\xF4"s, "\1"s});
    const Unit missing = random.among({UNIT_CAMERA_CALIBRATION, UNIT_CHARGE_DISABLE, UNIT_HEAT_TIME, UNIT_CYCLE_COUNT});
    phone.units.erase(missing);
}

void switch_faults(Random& random) {
    const auto unit = random.among({UNIT_BATT_STAT, UNIT_HEAT_TIME, UNIT_CYCLE_COUNT, UNIT_STATE_OF_HEALTH});
    phone.failing_writes = random.one_in(4) ? std::set<uint32_t>{unit} : std::set<uint32_t>{};
    phone.ondra_missing = random.one_in(12);
    phone.ondra_active = random.one_in(12) ? 0 : 1;
    phone.ondra_refuses = random.one_in(12);
}

// FNV-1a, 64 bits.
std::string digest_of(const std::string& bytes) {
    uint64_t digest = 0xCBF29CE484222325;
    for (const char byte : bytes) {
        digest = wrapping_mul(digest ^ static_cast<uint8_t>(byte), 0x100000001B3);
    }
    return std::to_string(digest);
}

// Adds what the phone saw since the last call.
void take_calls(std::string& trace) {
    for (const std::string& call : phone.calls) {
        trace += call + "\n";
    }
    for (const auto& [unit, bytes] : phone.unit_writes) {
        trace += digest_of(bytes) + "\n";
    }
    for (const FakeEvent& event : phone.events) {
        trace += event.category + " " + digest_of(event.data) + "\n";
    }
    phone.calls.clear();
    phone.unit_writes.clear();
    phone.events.clear();
}

struct Life {
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
};

void start(Life& life, int64_t boot_time, int64_t wall_time, Random& random) {
    life.state = ServiceState{.cycle_boot_time = boot_time, .cycle_wall_time = wall_time};
    strcpy(life.state.vendor_model, random.among({"", "XQ-7", "XQ-7", "dev_cdb"}));
    load_records(life.state, life.stat, life.connection);
}

int64_t pause_s(const Life& life, Random& random) {
    const ConnectionMemory& connection = life.state.connection;
    switch (random.between(0, 59)) {
        case 0:
            return random.between(-3000, 0);
        case 1:  // to a new period
            return std::min<int64_t>(PERIOD_S - life.state.online_time % PERIOD_S - random.between(-1, 300), 2000);
        case 2:  // a day since the last save
            return random.one_in(8)
                       ? life.state.last_stat_save_time + random.between(86'398, 86'401) - life.state.cycle_boot_time
                       : 1;
        case 3:  // a day of one connection
            return random.one_in(8) ? 86'400 + int64_t{connection.long_insertion_threshold} -
                                          int64_t{life.connection.usb_insertion_time} + random.between(-1, 1)
                                    : 0;
        default:
            return random.between(0, random.among({1, 10, 60, 300}));
    }
}

std::string trace_of_a_life(uint64_t seed) {
    Random random{seed};
    std::string trace;
    phone = FakePhone{};
    set_units(random);
    static Life life;
    SysfsParams snapshot = snapshot_of({{PARAM_BATTERY_CHARGE_FULL_DESIGN, "5000000"}});
    for (const Reading& reading : READINGS) {
        set_param(snapshot, {reading.id, static_cast<int32_t>(random.between(reading.low, reading.high))});
    }
    int64_t boot_time = random.among({0, 30, 86'399, 100'000});
    int64_t wall_time = random.among({1'764'000'000, 1'483'228'790});
    start(life, boot_time, wall_time, random);
    for (int cycle = 0; cycle < 150; cycle++) {
        const int64_t pause = std::min<int64_t>(pause_s(life, random), 90'000);
        boot_time += pause;
        wall_time += pause;
        if (random.one_in(60)) {
            set_units(random);
            start(life, boot_time = random.between(0, 60), wall_time, random);
        }
        if (random.one_in(20)) {
            switch_faults(random);
        }
        change_readings(snapshot, random);
        life.state.cycle_boot_time = boot_time;
        life.state.cycle_wall_time = wall_time;
        run_full_cycle(life.state, life.stat, life.connection, snapshot);
        run_light_cycle(snapshot);
        take_calls(trace);
        trace += digest_of(bytes_of(life.stat)) + "\n";
    }
    return trace;
}

TEST(ManyLives, AreLivedAsBefore) {
    std::string all;
    for (uint64_t seed = 1; seed <= 160; seed++) {
        all += trace_of_a_life(seed);
    }
    EXPECT_EQ(digest_of(all), "16757728398933629435");
    if (HasFailure()) {
        std::ofstream("many_lives.trace") << all;
    }
}

// What each counter that decides nothing has counted since it stood at `start`.
template <typename T>
void set_or_count(T& counter, int start, std::vector<uint64_t>* counts) {
    if (counts != nullptr) {
        counts->push_back(wrapping_sub(counter, static_cast<T>(start)));
    } else {
        counter = static_cast<T>(start);
    }
}

void set_or_count(BattStat& stat, int start, std::vector<uint64_t>* counts) {
    const auto each = [&](auto&... counters) { (set_or_count(counters, start, counts), ...); };
    const auto each_of = [&](auto& counters) { std::for_each(counters.begin(), counters.end(), each); };
    each_of(stat.vt_cet_table);
    each_of(stat.ct_charge_table);
    each_of(stat.thermal_range_stay_time);
    each_of(stat.total_discharge_time);
    for (DevAttachEntry& entry : stat.dev_attach) {
        each(entry.dev_attach_count, entry.dev_attach_total_time, entry.dev_charge_count);
    }
    each(stat.learning_total_count, stat.soc0_shutdown_cnt, stat.off_charge_total_time, stat.on_charge_total_time,
         stat.smart_charge_mode_total_time, stat.jeita_warm_total_time, stat.over_08c_total_time,
         stat.over_08c_charge_count, stat.over_06c_total_time, stat.over_06c_charge_count);
}

TEST(ManyLives, ACounterContinuesAtZeroAfterItsLargestValue) {
    static Life life;
    std::vector<uint64_t> counts[2];
    for (const int start_value : {0, -1}) {
        Random random{1};
        reset_batt_stat(life.stat);
        set_or_count(life.stat, start_value, nullptr);
        life.state = ServiceState{};
        seed_service_state(life.state, life.stat);
        life.connection = {};
        SysfsParams snapshot = snapshot_of({{PARAM_BATTERY_CHARGE_FULL_DESIGN, "5000000"}});
        for (int cycle = 0; cycle < 6000; cycle++) {
            life.state.cycle_boot_time += random.between(0, 60);
            change_readings(snapshot, random);
            run_full_cycle(life.state, life.stat, life.connection, snapshot);
        }
        set_or_count(life.stat, start_value, &counts[start_value == 0 ? 0 : 1]);
    }
    EXPECT_EQ(counts[0], counts[1]);
    EXPECT_EQ(std::count(counts[0].end() - 10, counts[0].end(), 0U), 0) << "each of the last ten has counted";
}

}  // namespace
}  // namespace cellwarden

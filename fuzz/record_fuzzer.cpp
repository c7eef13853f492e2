// Fuzzes stored records (whole, cut, old or forged) and the phone's life after them: attribute
// texts, passing time, cycles of the daemon's own code, restarts and failing libraries. The daemon
// must accept, upgrade or reset each record, and always accept again the record in memory. A load
// and a copy back keep every sum. Levels stay in 0 to 5 if those of the record do. On a new battery
// no total falls.
//
// An input is the length of the record's unit (2 bytes), the unit, and a sequence of steps. A step
// is an opcode and its operand:
//   0 to 133         attribute of this parameter: the length (255: no file), then the characters
//   FULL_CYCLE       2 bytes: the lower 10 bits are the seconds since the last cycle (few, because
//                    ageing is summed second by second), the upper 6 bits, signed, the days by
//                    which the wall clock is set
//   LIGHT_CYCLE      none
//   RESTART          none
//   FAULTS           1 byte: a bit for each function that fails from now on
// Other opcodes have no effect.
#include <algorithm>
#include <cstring>
#include <functional>

#include "cycle/cycle.h"
#include "fuzz/fuzzing.h"
#include "phone/phone_attributes.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "stats/batt_stat_update.h"

namespace cellwarden::fuzz {
namespace {

enum Opcode : uint8_t { FULL_CYCLE = 134, LIGHT_CYCLE = 135, RESTART = 136, FAULTS = 137 };

constexpr uint8_t NO_FILE = 255;
constexpr const char* ZONE_TYPE_PATH = "/sys/class/thermal/thermal_zone7/type";
constexpr int64_t SECONDS_PER_DAY = 86'400;

struct Life {
    StandIn phone;
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
    std::vector<uint64_t> totals;  // after the last cycle; empty if the battery is not new
    bool started_sane;
};

// --- Promises.

// Returns every counter and sum that never falls.
std::vector<uint64_t> totals_of(const BattStat& stat) {
    std::vector<uint64_t> totals;
    const auto take = [&](const auto& value) {
        if constexpr (std::is_integral_v<std::decay_t<decltype(value)>>) {
            totals.push_back(value);
        } else {
            totals.insert(totals.end(), value.begin(), value.end());
        }
    };
    const auto take_all = [&](const auto&... values) { (take(values), ...); };
    take_all(stat.online_time, stat.total_cycle_count, stat.vt_cet_table, stat.ct_charge_table,
             stat.soc0_shutdown_cnt, stat.off_charge_total_time, stat.on_charge_total_time,
             stat.soc_full_total_time, stat.smart_charge_mode_total_time,
             stat.jeita_warm_total_time, stat.thermal_range_stay_time, stat.over_08c_total_time,
             stat.over_08c_charge_count, stat.over_06c_total_time, stat.over_06c_charge_count,
             stat.total_discharge_time, stat.max_discharge_current, stat.total_arrhenius,
             stat.arrhenius_per_10days, stat.total_full_stay_cap_degradation,
             stat.full_stay_capacity_degradation_per_10days, stat.total_cycle_degradation,
             stat.cycle_degradation_per_10days);
    for (const DevAttachEntry& entry : stat.dev_attach) {
        take_all(entry.dev_attach_count, entry.dev_attach_total_time, entry.dev_charge_count);
    }
    return totals;
}

BattStatVerdict verdict_of(const std::string& image) {
    return judge_batt_stat(reinterpret_cast<const uint8_t*>(image.data()),
                           static_cast<uint32_t>(image.size()));
}

// The load divides degradations by a million, and the copy back multiplies them: a value is
// unchanged, or lower by 1 if the quotient was rounded down.
template <typename Field>
bool kept(const Field& before, const Field& after) {
    if constexpr (std::is_integral_v<Field>) {
        return before - after <= 1;
    } else {
        return std::equal(before.begin(), before.end(), after.begin(), kept<uint32_t>);
    }
}

// The tables and the ageing sums survive seeding the working state and copying it back.
void check_round_trip(const ServiceState& state, const BattStat& stat) {
    static BattStat copied;
    copied = stat;
    copy_usage_tables(state.usage, copied);
    copy_soft_charge_history(state, copied);
    const auto all_equal = [&](auto... fields) {
        return ((copied.*fields == stat.*fields) && ...);
    };
    promise(all_equal(&BattStat::online_time, &BattStat::vt_cet_table, &BattStat::ct_charge_table,
                      &BattStat::total_cycle_count, &BattStat::total_arrhenius,
                      &BattStat::arrhenius_per_10days),
            "tables and Arrhenius sums are unchanged by a restart");
    const auto all_kept = [&](auto... fields) {
        return (kept(stat.*fields, copied.*fields) && ...);
    };
    promise(all_kept(&BattStat::total_full_stay_cap_degradation, &BattStat::total_cycle_degradation,
                     &BattStat::full_stay_capacity_degradation_per_10days,
                     &BattStat::cycle_degradation_per_10days),
            "degradations are kept by a restart");
}

void check_load(const std::string& image, const Life& life) {
    const BattStatVerdict verdict = verdict_of(image);
    static BattStat expected;
    reset_batt_stat(expected);
    if (verdict == BattStatVerdict::ACCEPTED || verdict == BattStatVerdict::UPGRADED) {
        const std::array<uint8_t, 3> version = expected.version;
        memcpy(&expected, image.data(), sizeof expected);
        expected.version = version;
    }
    promise(memcmp(&life.stat, &expected, sizeof expected) == 0,
            "a record is accepted, upgraded or reset");
    check_round_trip(life.state, life.stat);
}

// Returns true if the daemon itself could have decided the record's levels, and no override is set.
bool levels_are_sane(const BattStat& stat) {
    const auto is_sane = [](uint8_t level) { return level <= 5 || level == 255; };
    return stat.soft_charge_override < 0xD0 && stat.soft_charge_mode <= 5 &&
           std::all_of(stat.arrhenius_lv.begin(), stat.arrhenius_lv.end(), is_sane) &&
           std::all_of(stat.full_stay_capacity_degradation_aging_lv.begin(),
                       stat.full_stay_capacity_degradation_aging_lv.end(), is_sane);
}

void check_cycle(Life& life) {
    promise(verdict_of(bytes_of(life.stat)) == BattStatVerdict::ACCEPTED,
            "the record is accepted again");
    promise(!life.started_sane ||
                (life.state.levels.soft_charge_mode >= 0 &&
                 life.state.levels.soft_charge_mode <= 5 && levels_are_sane(life.stat)),
            "levels stay in 0 to 5");
    if (!life.totals.empty()) {
        const std::vector<uint64_t> totals = totals_of(life.stat);
        promise(
            std::equal(totals.begin(), totals.end(), life.totals.begin(), std::greater_equal<>()),
            "no total falls");
        life.totals = totals;
    }
}

// --- The steps of an input.

const char* path_of(uint8_t id) {
    return id == PARAM_SDM_THERM_ZONE_TEMP ? "/sys/class/thermal/thermal_zone7/temp"
                                           : SysfsParamTable[id].path;
}

void set_attribute(StandIn& phone, uint8_t id, Input& steps) {
    const uint8_t length = steps.byte();
    if (length == NO_FILE) {
        phone.attributes.erase(path_of(id));
    } else {
        phone.attributes[path_of(id)] = steps.text(length);
    }
}

void switch_faults(StandIn& phone, uint8_t bits) {
    phone.failing_writes.clear();
    if ((bits & 1) != 0) {
        phone.failing_writes = {UNIT_BATT_STAT, UNIT_HEAT_TIME, UNIT_CYCLE_COUNT};
    }
    phone.ondra_missing = (bits & 2) != 0;
    phone.ondra_refuses = (bits & 4) != 0;
    phone.ondra_active = (bits & 8) != 0 ? 0 : 1;
}

void full_cycle(Life& life, uint32_t times) {
    const uint32_t seconds = times & 0x3FF;
    const int32_t days = static_cast<int16_t>(times) >> 10;
    life.state.clock.cycle_boot_time += seconds;
    life.state.clock.cycle_wall_time += seconds + days * SECONDS_PER_DAY;
    const Device device = device_of(life.phone);
    SysfsParams snapshot{};
    read_sysfs_params(device, snapshot, full_cycle_mask());
    run_full_cycle(device, life.state, life.stat, life.connection, snapshot, POLICY);
    cleanup_sysfs_params(snapshot);
    check_cycle(life);
}

void light_cycle(Life& life) {
    const Device device = device_of(life.phone);
    SysfsParams snapshot{};
    read_sysfs_params(device, snapshot, light_cycle_mask());
    run_light_cycle(device, snapshot);
    cleanup_sysfs_params(snapshot);
}

// Restarts only the daemon: the phone's clocks continue, and data that was not stored is lost.
void restart(Life& life) {
    life.state = ServiceState{.clock = {.cycle_boot_time = life.state.clock.cycle_boot_time,
                                        .cycle_wall_time = life.state.clock.cycle_wall_time}};
    life.connection = {};
    load_records(device_of(life.phone), life.state, life.stat, life.connection);
    check_load(life.phone.units[UNIT_BATT_STAT], life);
    if (!life.totals.empty()) {
        life.totals = totals_of(life.stat);
    }
}

// Starts the daemon on a phone that has no attributes and the given bytes in the record's unit.
void start_life(Life& life, const std::string& record) {
    life.phone = StandIn{.attributes = {{ZONE_TYPE_PATH, "sdm_therm\n"}},
                         .units = {{UNIT_BATT_STAT, record}},
                         .records_effects = false};
    life.state.clock.cycle_boot_time = 86'000;  // the daily save is near
    life.state.clock.cycle_wall_time = 1'700'000'000;
    restart(life);
    life.totals = record.empty() ? totals_of(life.stat) : std::vector<uint64_t>{};
    life.started_sane = levels_are_sane(life.stat);
}

void take_step(Life& life, Input& input) {
    const uint8_t opcode = input.byte();
    if (opcode < SYSFS_PARAM_COUNT) {
        set_attribute(life.phone, opcode, input);
    } else if (opcode == FULL_CYCLE) {
        full_cycle(life, input.number(2));
    } else if (opcode == LIGHT_CYCLE) {
        light_cycle(life);
    } else if (opcode == RESTART) {
        restart(life);
    } else if (opcode == FAULTS) {
        switch_faults(life.phone, input.byte());
    }
}

// --- Initial inputs.

void append_attribute(std::string& steps, SysfsParamId id, const std::string& text) {
    steps += static_cast<char>(id);
    steps += static_cast<char>(text.size() + 1);
    steps += text + "\n";
}

void append_cycle(std::string& steps, const phone::Phone& phone, uint16_t seconds) {
    for (const phone::AttributeText& attribute : phone::live_attributes(phone)) {
        append_attribute(steps, attribute.id, attribute.text);
    }
    steps += static_cast<char>(FULL_CYCLE);
    steps += bytes_of(seconds);
}

// Returns the attributes of the bench's phone, full cycles in which it charges, heats up and
// empties, a shutdown and a restart.
std::string ordinary_steps() {
    phone::Phone phone;
    std::string steps;
    for (const phone::AttributeText& attribute : phone::start_attributes(phone)) {
        append_attribute(steps, attribute.id, attribute.text);
    }
    append_cycle(steps, phone, 20);
    phone.battery.soc = 0.9;
    phone.battery.temp_c = 46;
    append_cycle(steps, phone, 20);
    phone.battery.soc = 0.01;
    phone.shutdown_phase = 4;
    append_cycle(steps, phone, 200);
    steps += static_cast<char>(LIGHT_CYCLE);
    steps += static_cast<char>(RESTART);
    append_cycle(steps, phone, 20);
    return steps;
}

std::string input_of(const std::string& image) {
    return bytes_of(static_cast<uint16_t>(image.size())) + image + ordinary_steps();
}

}  // namespace

std::vector<std::string> seeds() {
    static BattStat stat;
    reset_batt_stat(stat);
    const std::string fresh = bytes_of(stat);
    stat.version[2] = 3;
    stat.online_time = 107 * PERIOD_S - 30;
    stat.soft_charge_mode = 3;
    stat.latest_filtered_soh = 43'000;
    stat.arrhenius_per_10days.fill(70'000);
    stat.arrhenius_lv.fill(255);
    stat.full_stay_capacity_degradation_per_10days.fill(200'000);
    stat.full_stay_capacity_degradation_aging_lv.fill(255);
    std::fill_n(stat.arrhenius_lv.begin(), 106, uint8_t{2});
    std::fill_n(stat.full_stay_capacity_degradation_aging_lv.begin(), 106, uint8_t{3});
    stat.cycle_degradation_per_10days.fill(90'000);
    stat.total_cycle_count = 3'000'000;
    return {input_of(fresh), input_of(bytes_of(stat)), input_of(""), input_of("\xFF"),
            input_of(fresh.substr(0, 100))};
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    static fuzz::Life life;
    fuzz::Input input(data, size);
    start_life(life, input.text(input.number(2)));
    while (!input.empty()) {
        take_step(life, input);
    }
    fuzz::promise(life.phone.open_handles == 0, "every handle of the event library is released");
    return 0;
}

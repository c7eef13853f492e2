// Fuzzes the stored record and a part of a phone's life: attribute texts, elapsed time, cycles,
// restarts and failing libraries, with the daemon's own cycle code. Checks that each record is
// accepted, upgraded or reset; that the record in memory is always accepted again; that loading it
// and copying it back does not change it; that the level stays in 0 to 5 if all levels of the
// record are valid; and that no total of a new battery falls.
//
// An input is a length in two bytes, the content of the record's unit, and a list of steps, each
// an opcode and its argument:
//   0 to 133         sets the attribute of that parameter: a length (255: no file), then the text
//   FULL_CYCLE       2 bytes: the lower 10 bits are the seconds since the last cycle (few, because
//                    ageing is summed second by second), the upper 6, signed, the days by which the
//                    wall clock is set
//   LIGHT_CYCLE      no argument
//   RESTART          no argument
//   FAULTS           1 byte: the failures from now on, one bit each
// Other opcodes do nothing.
#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <sstream>

#include "cycle/cycle.h"
#include "decode/record_layout.h"
#include "fuzz/fuzzing.h"
#include "phone/phone_attributes.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "state/facts.h"
#include "stats/batt_stat_update.h"

namespace cellwarden::fuzz {
namespace {

enum Opcode : uint8_t { FULL_CYCLE = 134, LIGHT_CYCLE = 135, RESTART = 136, FAULTS = 137 };

constexpr uint8_t NO_FILE = 255;
constexpr const char* ZONE_TYPE_PATH = "/sys/class/thermal/thermal_zone7/type";

struct Life {
    StandIn phone;
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
    std::vector<int64_t> totals;  // after the last cycle; empty if the battery is not new
    bool started_sane;
};

// --- Promises

// Counters and sums that never fall.
constexpr char TOTALS[] =
    "online_time total_cycle_count vt_cet_table ct_charge_table soc0_shutdown_cnt "
    "off_charge_total_time on_charge_total_time soc_full_total_time smart_charge_mode_total_time "
    "jeita_warm_total_time thermal_range_stay_time over_08c_total_time over_08c_charge_count "
    "over_06c_total_time over_06c_charge_count total_discharge_time max_discharge_current "
    "total_arrhenius arrhenius_per_10days total_full_stay_cap_degradation "
    "full_stay_capacity_degradation_per_10days total_cycle_degradation "
    "cycle_degradation_per_10days dev_attach_count dev_attach_total_time dev_charge_count";

// Fields that the working state stores unchanged.
constexpr char KEPT[] =
    "online_time vt_cet_table ct_charge_table total_cycle_count total_arrhenius "
    "arrhenius_per_10days";

// Fields that are divided by a million when loaded, and multiplied again: a value is unchanged, or
// one millionth less if the quotient was rounded down.
constexpr char ROUNDED[] =
    "total_full_stay_cap_degradation total_cycle_degradation "
    "full_stay_capacity_degradation_per_10days cycle_degradation_per_10days";

// Returns every element of the named fields.
std::vector<int64_t> values_of(const BattStat& stat, const char* names) {
    std::vector<int64_t> values;
    std::istringstream words(names);
    for (std::string name; words >> name;) {
        const decode::RecordField& field = *decode::find_record_field(name);
        for (size_t i = 0; i < field.count; i++) {
            values.push_back(decode::stored_value(stat, field, i));
        }
    }
    return values;
}

BattStatVerdict verdict_of(const std::string& image) {
    return judge_batt_stat(reinterpret_cast<const uint8_t*>(image.data()),
                           static_cast<uint32_t>(image.size()));
}

// Checks that seeding the working state and copying it back preserves the tables and the ageing
// sums.
void check_round_trip(const ServiceState& state, const BattStat& stat) {
    static BattStat copied;
    copied = stat;
    copy_usage_tables(state.usage, copied);
    copy_soft_charge_history(state, copied);
    promise(values_of(copied, KEPT) == values_of(stat, KEPT),
            "tables and Arrhenius sums survive a restart");
    const std::vector<int64_t> before = values_of(stat, ROUNDED),
                               after = values_of(copied, ROUNDED);
    promise(std::equal(before.begin(), before.end(), after.begin(),
                       [](int64_t a, int64_t b) { return a == b || a == b + 1; }),
            "degradations survive a restart");
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
            "a record is taken as it stands, upgraded or reset");
    check_round_trip(life.state, life.stat);
}

// Returns whether the daemon could have decided all levels of the record, and no override is set.
bool levels_are_sane(const BattStat& stat) {
    const auto levels = values_of(stat, "arrhenius_lv full_stay_capacity_degradation_aging_lv");
    return stat.soft_charge_override < 0xD0 && stat.soft_charge_mode <= 5 &&
           std::all_of(levels.begin(), levels.end(),
                       [](int64_t level) { return level <= 5 || level == 255; });
}

void check_cycle(Life& life) {
    promise(verdict_of(bytes_of(life.stat)) == BattStatVerdict::ACCEPTED,
            "the record is accepted again");
    promise(!life.started_sane ||
                (life.state.levels.soft_charge_mode >= 0 &&
                 life.state.levels.soft_charge_mode <= 5 && levels_are_sane(life.stat)),
            "levels stay in 0 to 5");
    if (!life.totals.empty()) {
        const std::vector<int64_t> totals = values_of(life.stat, TOTALS);
        promise(
            std::equal(totals.begin(), totals.end(), life.totals.begin(), std::greater_equal<>()),
            "no total falls");
        life.totals = totals;
    }
}

// --- Steps

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
    const std::set<uint32_t> some = {UNIT_BATT_STAT, UNIT_HEAT_TIME, UNIT_CYCLE_COUNT};
    phone.failing_writes = (bits & 1) != 0 ? some : std::set<uint32_t>{};
    phone.ondra_missing = (bits & 2) != 0;
    phone.ondra_refuses = (bits & 4) != 0;
    phone.ondra_active = (bits & 8) != 0 ? 0 : 1;
}

void run_cycle(Life& life, bool is_full) {
    const Device device = device_of(life.phone);
    SysfsParams snapshot{};
    read_sysfs_params(device, snapshot, is_full ? full_cycle_mask() : light_cycle_mask());
    if (is_full) {
        run_full_cycle(device, life.state, life.stat, life.connection, snapshot, POLICY);
        check_cycle(life);
    } else {
        run_light_cycle(device, snapshot);
    }
    cleanup_sysfs_params(snapshot);
}

void pass_time(CycleClock& clock, uint32_t times) {
    const uint32_t seconds = times & 0x3FF;
    const int64_t days = static_cast<int16_t>(times) >> 10;
    clock.cycle_boot_time += seconds;
    clock.cycle_wall_time += seconds + days * SECONDS_PER_DAY;
}

// Restarts only the daemon: the phone's clocks continue, and data that was not stored is lost.
void restart(Life& life) {
    life.state = ServiceState{.clock = {.cycle_boot_time = life.state.clock.cycle_boot_time,
                                        .cycle_wall_time = life.state.clock.cycle_wall_time}};
    life.connection = {};
    load_records(device_of(life.phone), life.state, life.stat, life.connection);
    check_load(life.phone.units[UNIT_BATT_STAT], life);
    if (!life.totals.empty()) {
        life.totals = values_of(life.stat, TOTALS);
    }
}

// Starts the daemon on a phone without attributes and with the given bytes in the record's unit.
void start_life(Life& life, const std::string& record) {
    life.phone = StandIn{.attributes = {{ZONE_TYPE_PATH, "sdm_therm\n"}},
                         .units = {{UNIT_BATT_STAT, record}},
                         .records_effects = false};
    life.state.clock.cycle_boot_time = 86'000;  // the daily save is near
    life.state.clock.cycle_wall_time = 1'700'000'000;
    restart(life);
    life.totals = record.empty() ? values_of(life.stat, TOTALS) : std::vector<int64_t>{};
    life.started_sane = levels_are_sane(life.stat);
}

void take_step(Life& life, Input& input) {
    const uint8_t opcode = input.byte();
    if (opcode < SYSFS_PARAM_COUNT) {
        set_attribute(life.phone, opcode, input);
    } else if (opcode == FULL_CYCLE) {
        pass_time(life.state.clock, input.number(2));
        run_cycle(life, true);
    } else if (opcode == LIGHT_CYCLE) {
        run_cycle(life, false);
    } else if (opcode == RESTART) {
        restart(life);
    } else if (opcode == FAULTS) {
        switch_faults(life.phone, input.byte());
    }
}

// --- Seeds

void append(std::string& steps, const std::vector<phone::AttributeFile>& attributes) {
    for (const phone::AttributeFile& attribute : attributes) {
        steps += static_cast<char>(attribute.id);
        steps += static_cast<char>(attribute.text.size() + 1);
        steps += attribute.text + "\n";
    }
}

void append_cycle(std::string& steps, const phone::Phone& phone, uint16_t seconds) {
    append(steps, phone::live_attributes(phone));
    steps += static_cast<char>(FULL_CYCLE);
    steps += bytes_of(seconds);
}

// The attributes of the bench's phone, then full cycles in which it charges, heats up and empties,
// then a shutdown and a restart.
std::string ordinary_steps() {
    phone::Phone phone;
    std::string steps;
    append(steps, phone::start_attributes(phone));
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
    fuzz::promise(life.phone.open_handles == 0, "every handle of the event library is given back");
    return 0;
}

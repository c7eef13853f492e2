#include "fuzz/life.h"

#include <algorithm>
#include <cstring>

#include "bench/phone/phone_attributes.h"
#include "fuzz/attribute_files.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "support/phone.h"

namespace cellwarden::fuzz {
namespace {

constexpr uint8_t NO_FILE = 255;
constexpr int64_t SECONDS_PER_DAY = 86'400;

const char* path_of(uint8_t id) {
    return id == PARAM_SDM_THERM_ZONE_TEMP ? "/sys/class/thermal/thermal_zone7/temp"
                                           : SysfsParamTable[id].path;
}

void set_attribute(uint8_t id, Input& steps) {
    const uint8_t length = steps.byte();
    if (length == NO_FILE) {
        attribute_files.erase(path_of(id));
    } else {
        attribute_files[path_of(id)] = steps.text(length);
    }
}

void switch_faults(uint8_t bits) {
    test::phone.failing_writes.clear();
    if ((bits & 1) != 0) {
        test::phone.failing_writes = {UNIT_BATT_STAT, UNIT_HEAT_TIME, UNIT_CYCLE_COUNT};
    }
    test::phone.ondra_missing = (bits & 2) != 0;
    test::phone.ondra_refuses = (bits & 4) != 0;
    test::phone.ondra_active = (bits & 8) != 0 ? 0 : 1;
}

void full_cycle(Life& life, uint32_t times) {
    const uint32_t seconds = times & 0x3FF;
    const int32_t days = static_cast<int16_t>(times) >> 10;
    life.state.cycle_boot_time += seconds;
    life.state.cycle_wall_time += seconds + days * SECONDS_PER_DAY;
    life.snapshot = SysfsParams{};
    read_sysfs_params(life.snapshot, full_cycle_mask());
    run_full_cycle(life.state, life.stat, life.connection, life.snapshot);
    cleanup_sysfs_params(life.snapshot);
}

void light_cycle(Life& life) {
    life.snapshot = SysfsParams{};
    read_sysfs_params(life.snapshot, light_cycle_mask());
    run_light_cycle(life.snapshot);
    cleanup_sysfs_params(life.snapshot);
}

// The daemon alone starts again: the phone's clocks go on.
void restart(Life& life) {
    const int64_t boot_time = life.state.cycle_boot_time;
    const int64_t wall_time = life.state.cycle_wall_time;
    life = Life{};
    life.state.cycle_boot_time = boot_time;
    life.state.cycle_wall_time = wall_time;
    load_records(life.state, life.stat, life.connection);
}

void append_attribute(std::string& steps, SysfsParamId id, const std::string& text) {
    steps += static_cast<char>(id);
    steps += static_cast<char>(text.size() + 1);
    steps += text + "\n";
}

void append_cycle(std::string& steps, const bench::Phone& phone, uint16_t seconds) {
    for (const bench::AttributeText& attribute : bench::live_attributes(phone)) {
        append_attribute(steps, attribute.id, attribute.text);
    }
    steps += static_cast<char>(FULL_CYCLE);
    steps += test::bytes_of(seconds);
}

}  // namespace

Life& new_life(const std::string& record) {
    static Life life;
    test::phone = test::FakePhone{};
    test::phone.units[UNIT_BATT_STAT] = record;
    attribute_files = {{"/sys/class/thermal/thermal_zone7/type", "sdm_therm\n"}};
    life.state.cycle_boot_time = 86'000;  // the daily save is near
    life.state.cycle_wall_time = 1'700'000'000;
    restart(life);
    return life;
}

void live(Life& life, Input& steps, void (*after_cycle)(Life& life, After what)) {
    while (!steps.empty()) {
        const uint8_t opcode = steps.byte();
        if (opcode < SYSFS_PARAM_COUNT) {
            set_attribute(opcode, steps);
        } else if (opcode == FULL_CYCLE) {
            full_cycle(life, steps.number(2));
            after_cycle(life, After::FULL_CYCLE);
        } else if (opcode == LIGHT_CYCLE) {
            light_cycle(life);
        } else if (opcode == RESTART) {
            restart(life);
            after_cycle(life, After::RESTART);
        } else if (opcode == FAULTS) {
            switch_faults(steps.byte());
        }
        promise(!attribute_file_is_open(), "every attribute file is closed again");
    }
    promise(test::phone.open_handles == 0, "every handle of the event library is given back");
}

bool levels_are_sane(const BattStat& stat) {
    const auto is_sane = [](uint8_t level) { return level <= 5 || level == 255; };
    return stat.soft_charge_override < 0xD0 && stat.soft_charge_mode <= 5 &&
           std::all_of(stat.arrhenius_lv.begin(), stat.arrhenius_lv.end(), is_sane) &&
           std::all_of(stat.full_stay_capacity_degradation_aging_lv.begin(),
                       stat.full_stay_capacity_degradation_aging_lv.end(), is_sane);
}

std::string ordinary_steps() {
    bench::Phone phone;
    std::string steps;
    for (const bench::AttributeText& attribute : bench::start_attributes(phone)) {
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

}  // namespace cellwarden::fuzz

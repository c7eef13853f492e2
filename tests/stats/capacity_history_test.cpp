#include <gtest/gtest.h>

#include <cstring>

#include "stats/update_rows.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

TEST(EstablishedTime, IsTheBootTimeOnceTheRecordHasEnoughCharge) {
    const struct {
        const char* name;
        int64_t wall_time, boot_time;
        std::string stored, changes;
    } rows[] = {
        {"established", 1'483'228'800, 800, "total_cycle_count=3000", "initialized_time=1483228000"},
        {"clock not set", 1'483'228'799, 800, "total_cycle_count=3000", ""},
        {"too little charge", 1'483'228'800, 800, "total_cycle_count=2999", ""},
        {"already stored", 1'483'228'800, 800, "total_cycle_count=3000 initialized_time=1", ""},
        {"beyond 32 bits", 0x2'0000'0000, 1, "total_cycle_count=3000", "initialized_time=8589934591"},
    };
    for (const auto& row : rows) {
        BattStat stat{};
        apply_changes(stat, row.stored);
        const BattStat before = stat;
        ServiceState state{.clock = {.cycle_boot_time = row.boot_time, .cycle_wall_time = row.wall_time}};
        update_established_time({device, state, {}, state.stat_update, stat});
        EXPECT_EQ(changes(before, stat), row.changes) << row.name;
    }
}

TEST(ModelName, IsStoredOnce) {
    const std::tuple<const char*, std::string, const char*, std::string> rows[] = {
        {"short", "\0older than it"s, "KIRO", "KIRO"},
        {"fifteen characters", "", "FIFTEEN-LETTERS", "FIFTEEN-LETTERS"},
        {"a longer name is truncated", "", "SIXTEEN-LETTERS!", "SIXTEEN-LETTERS"},
        {"no model known yet", "", "", ""},
        {"kept", "KIRO", "ORWEN", "KIRO"},
    };
    for (const auto& [name, stored, reading, expected] : rows) {
        ServiceState state;
        BattStat stat{};
        stored.copy(stat.battery_model_name.data(), stored.size());
        update_model_name({device, state, snapshot_of({{PARAM_BATTERY_MODEL_NAME, reading}}), state.stat_update, stat});
        const char* const text = stat.battery_model_name.data();
        EXPECT_EQ(std::string(text, strnlen(text, 16)), expected) << name;
    }
}

TEST(CapacityHistory, ShiftsWithLearningAndWithTheLevel) {
    const auto counter = [](int32_t value, int32_t learned_mah = 70'000, int32_t full_uah = 4'399'999) {
        return std::vector<Given>{
            {PARAM_LEARNING_COUNTER, value}, {PARAM_LEARNED_CAPACITY, learned_mah}, {PARAM_QCOM_CHARGE_FULL, full_uah}};
    };
    const std::string stored =
        "fcc_mah[0]=10 fcc_mah[1]=11 fcc_mah[2]=12 fcc_mah[3]=13 fcc_mah[4]=14 learning_total_count=65535 "
        "fcc_mah_raw[0]=20 fcc_mah_raw[1]=21 fcc_mah_raw[2]=22 fcc_mah_raw[3]=23 fcc_mah_raw[4]=24";
    const std::string shifted =
        " fcc_mah_raw[0]=4464 fcc_mah_raw[1]=20 fcc_mah_raw[2]=21 fcc_mah_raw[3]=22 fcc_mah_raw[4]=23";
    const std::string learned = "fcc_mah[0]=4399 fcc_mah[1]=10 fcc_mah[2]=11 fcc_mah[3]=12 fcc_mah[4]=13 "s;
    const std::string time = " last_learning_time=4294967303";
    check_updates(
        update_capacity_history,
        {
            {"the same counter", counter(3), {}, "", 60, stored},
            {"one event, 16 bits", counter(3), counter(4), learned + "learning_total_count=0" + time + shifted, 60,
             stored},
            {"two events", counter(3), counter(5), learned + "learning_total_count=1" + time + shifted, 60, stored},
            {"a lower counter", counter(3), counter(2), learned + "learning_total_count=65534" + time + shifted, 60,
             stored},
            {"from the lowest to the highest counter", counter(INT32_MIN), counter(INT32_MAX),
             learned + "learning_total_count=65534" + time + shifted, 60, stored},
            {"truncated toward zero, low 16 bits", counter(3), counter(4, -1, -4'399'999),
             "fcc_mah[0]=61137 learning_total_count=1 last_learning_time=4294967303 fcc_mah_raw[0]=65535"},
        });
    check_first_calls(update_capacity_history, {{"0 at start-up", counter(0), ""},
                                                {"the whole counter at start-up", counter(2),
                                                 learned + "learning_total_count=1" + time + shifted, stored}});
}

TEST(CapacityHistory, ShiftsOnceWithAnotherLevel) {
    const struct {
        const char* name;
        int32_t level;
        uint16_t newest;
    } calls[] = {{"first call", 2, 0},     {"the same", 2, 0},     {"another", 3, 4003}, {"not known", -1, 4004},
                 {"known again", 3, 4004}, {"unchanged", 3, 4004}, {"lower", 2, 4007}};
    ServiceState state;
    BattStat stat{};
    int32_t full_uah = 4'000'000;
    for (const auto& [name, level, newest] : calls) {
        full_uah += 1000;
        state.levels.soft_charge_mode = level;
        update_capacity_history(
            {device, state, snapshot_of({{PARAM_QCOM_CHARGE_FULL, full_uah}}), state.stat_update, stat});
        EXPECT_EQ(stat.fcc_mah[0], newest) << name;
    }
    EXPECT_EQ(stat.learning_total_count, 0);
}

}  // namespace
}  // namespace cellwarden

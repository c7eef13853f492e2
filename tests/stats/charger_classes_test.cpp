#include <gtest/gtest.h>

#include <tuple>

#include "stats/update_rows.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(ChargerClass, FollowsFromTypeAndWattage) {
    const std::tuple<const char*, int32_t, int32_t> rows[] = {
        {"type 2", 2, 1},    {"type 3", 3, 3},    {"type 4", 4, 2},    {"type 5", 5, 0},    {"type 6", 6, 5},
        {"type 7", 7, 4},    {"type 8", 8, 4},    {"type 9", 9, 4},    {"type 19", 19, 6},  {"type 21", 21, 13},
        {"type 22", 22, 14}, {"type 0", 0, -1},   {"type 1", 1, -1},   {"type 10", 10, -1}, {"type 14", 14, -1},
        {"type 17", 17, -1}, {"type 18", 18, -1}, {"type 20", 20, -1}, {"type 23", 23, -1}, {"type -1", -1, -1},
    };
    for (const auto& [name, type, expected] : rows) {
        EXPECT_EQ(charger_class_of(type, 0), expected) << name;
        EXPECT_EQ(charger_class_of(type, INT32_MAX), expected) << name << ", highest wattage";
    }
    const std::tuple<const char*, int32_t, int32_t> wattages[] = {
        {"negative", -1, 7},
        {"20 W", 20'000'000, 7},
        {"above 20 W", 20'000'001, 8},
        {"30 W", 30'000'000, 8},
        {"above 30 W", 30'000'001, 9},
        {"45 W", 45'000'000, 9},
        {"above 45 W", 45'000'001, 10},
        {"65 W", 65'000'000, 10},
        {"above 65 W", 65'000'001, 11},
        {"highest", INT32_MAX, 11},
    };
    for (const auto& [name, wattage, expected] : wattages) {
        EXPECT_EQ(charger_class_of(15, wattage), expected) << "type 15, " << name;
        EXPECT_EQ(charger_class_of(16, wattage), expected) << "type 16, " << name;
    }
}

// Types 7 and 8 have class 4, type 6 has class 5; type 1 has no class.
std::vector<Given> charger(int32_t type, int32_t soc) {
    return {{PARAM_ACTIVE_CHARGER_TYPE, type}, {PARAM_BATT_SOC, soc}};
}

TEST(ChargerClasses, CountAttachmentsTimeAndCharge) {
    check_updates(update_charger_classes,
                  {
                      {"same class", charger(7, 5000), charger(8, 5001),
                       "dev_attach[4].total_time=60 dev_attach[4].charge_count=1"},
                      {"another class, no gain", charger(7, 5000), charger(6, 5000),
                       "dev_attach[4].total_time=60 dev_attach[5].count=1"},
                      {"detached, discharged", charger(7, 5000), charger(1, 4999), "dev_attach[4].total_time=60"},
                      {"attached", charger(1, 5000), charger(7, 5100), "dev_attach[4].count=1"},
                      {"nothing attached", charger(1, 5000), charger(1, 5100), ""},
                      {"the clock stands", charger(7, 5000), {}, "", 0},
                      {"the clock went back", charger(7, 5000), {}, "", -60},
                      {"an invalid charge is booked", charger(7, -5), charger(7, 20'000),
                       "dev_attach[4].total_time=60 dev_attach[4].charge_count=20005"},
                      {"counters wrap", charger(7, 0), charger(6, 9),
                       "dev_attach[4].total_time=59 dev_attach[4].charge_count=8 dev_attach[5].count=0", 60,
                       "dev_attach[4].total_time=4294967295 dev_attach[4].charge_count=4294967295 "
                       "dev_attach[5].count=4294967295"},
                  });
    check_first_calls(update_charger_classes, {{"present at start-up", charger(7, 11'000), "dev_attach[4].count=1"}});
}

// A class gets no time and charge after it ends.
TEST(ChargerClasses, BookNothingAcrossAPause) {
    ServiceState state{.clock = {.cycle_boot_time = FIRST_CALL}};
    BattStat stat{};
    for (const auto& [type, soc] : {std::pair(7, 5000), {1, 5000}, {7, 6000}}) {
        state.clock.cycle_boot_time += 60;
        update_charger_classes({device, state, snapshot_of(charger(type, soc)), state.stat_update, stat});
    }
    EXPECT_EQ(changes({}, stat), "dev_attach[4].count=2 dev_attach[4].total_time=60");
}

}  // namespace
}  // namespace cellwarden

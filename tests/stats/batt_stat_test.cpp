#include "stats/batt_stat_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <tuple>

#include "platform/unit_store.h"
#include "state/stored_units.h"
#include "stats/soft_charge_history.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

constexpr size_t RECORD_SIZE = 9728;

std::string with(std::string image, size_t offset, const std::string& bytes) {
    return image.replace(offset, bytes.size(), bytes);
}

// A stored record of layout 5.2.`patch` with a learned capacity of 4,400 mAh and something
// everywhere else.
std::string stored_record(char patch = 4) {
    return with(std::string(RECORD_SIZE, '\x11'), 0, "\x01\x05\x02"s + patch + "\x30\x11");
}

std::string reset_record() {
    std::string image = with(std::string(RECORD_SIZE, '\0'), 0, "\x01\x05\x02\x04");
    image = with(image, 0x0E9C, "\x00\x80\xFF\x7F"s);
    return with(with(image, 0x1400, std::string(252, '\xFF')), 0x1900, std::string(252, '\xFF'));
}

struct Loaded {
    ServiceState state;
    BattStat stat;

    explicit Loaded(const std::string& stored) {
        phone.units[UNIT_BATT_STAT] = stored;
        memset(&stat, 0xFF, sizeof stat);
        init_batt_stat(device, state, stat);
    }
};

TEST(BattStatLoad, AcceptsUpgradesOrResetsTheStoredRecord) {
    const std::string valid = stored_record();
    const struct {
        const char* name;
        std::string stored;
        int32_t restore;
        std::string expected = reset_record();
        bool fix_pending = false, read_fails = false;
    } rows[] = {
        {"5.2.4", valid, 4400, valid},
        {"5.2.3 is upgraded", stored_record(3), 4400, valid, true},
        {"without capacity", with(valid, 4, "\0\0"s), -1, with(valid, 4, "\0\0"s)},
        {"highest marker", with(valid, 0, "\xFE"), 4400, with(valid, 0, "\xFE")},
        {"5.2.2", stored_record(2), -1},
        {"5.2.5", stored_record(5), -1},
        {"4.2.4", with(valid, 1, "\x04"), -1},
        {"erased marker", with(valid, 0, "\xFF"), 0},
        {"zero marker", with(valid, 0, "\0"s), -1},
        {"one byte short", valid.substr(0, RECORD_SIZE - 1), -1},
        {"5.2.3 one byte too long", stored_record(3) + "x", -1},
        {"shorter than a header", valid.substr(0, 3), -1},
        {"unreadable", valid, -1, reset_record(), false, true},
    };
    for (const auto& row : rows) {
        phone.failing_reads = row.read_fails ? std::set<uint32_t>{UNIT_BATT_STAT} : std::set<uint32_t>{};
        const Loaded loaded(row.stored);
        EXPECT_TRUE(bytes_of(loaded.stat) == row.expected) << row.name;
        EXPECT_EQ(loaded.state.passport.production_date_fix_pending, row.fix_pending) << row.name;
        EXPECT_EQ(loaded.state.restore.restore_capacity_mah, row.restore) << row.name;
    }
    EXPECT_EQ(logs(), Calls{});
    EXPECT_EQ(phone.effects.size(), std::size(rows)) << "one read each, no writes";
}

TEST(BattStatLoad, SeedsTheReferenceOfTheUsersSoh) {
    const std::tuple<const char*, uint32_t, int32_t, int32_t> rows[] = {
        {"a second short of a period", 863'999, -1, 100'000}, {"one period", 864'000, 0, 5000},
        {"the last kept period", 218'591'999, 251, 5250},     {"no period is kept any more", 218'592'000, -1, 100'000},
        {"beyond 31 bits", 0x8000'0000, -1, 100'000},
    };
    for (const auto& [name, online_time, expected_index, expected_soh] : rows) {
        BattStat stat;
        reset_batt_stat(stat);
        stat.online_time = online_time;
        stat.user_soh_per_10days[0] = 2500;
        stat.user_soh_per_10days[251] = 2625;
        const ServiceState state = Loaded(bytes_of(stat)).state;
        EXPECT_EQ(state.health.prev_soh_bucket_index, expected_index) << name;
        EXPECT_EQ(state.health.prev_bucket_user_soh, expected_soh) << name;
    }
}

// --- The way of soft charge's working state into the record.

TEST(SoftChargeHistory, MillionthsOfAPerCent) {
    const std::tuple<const char*, extended, uint32_t> rows[] = {
        {"cut, not rounded", 0.0000019990234375, 1},
        {"negative", -0.5, 0},
        {"largest", extended(4'294'967'295) / 1'000'000 + extended(0.0000001), UINT32_MAX},
        {"saturates", 4294.967296, UINT32_MAX},
        {"no number", std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& [name, percent, expected] : rows) {
        EXPECT_EQ(to_micropercent(percent), expected) << name;
    }
}

TEST(SoftChargeHistory, LevelsAreStampedOnce) {
    BattStat stat{};
    stat.soft_charge_mode = 7;
    for (const auto& [level, online_time] : {std::pair(0, 10), {2, 20}, {2, 30}, {5, -40}, {1, 50}, {5, 60}}) {
        copy_soft_charge_history(
            {.usage = {.online_time = online_time}, .levels = {.soft_charge_mode = -1, .soft_charge1_level = level}},
            stat);
    }
    EXPECT_EQ(stat.soft_charge1_onlinetime, (std::array<uint64_t, 5>{50, 20, 0, 0, static_cast<uint64_t>(-40)}));
    EXPECT_EQ(stat.soft_charge_mode, 7) << "a mode not known leaves what is stored";
}

TEST(SoftChargeHistory, MilestonesOfTheStateOfHealth) {
    std::array<uint64_t, 9> expected{};
    BattStat stat{};
    int64_t wall_time = 10'000'000'000;
    const auto cycle = [&](int32_t soh) {
        copy_soft_charge_history({.clock = {.cycle_wall_time = wall_time++}, .usage = {.soh = soh}}, stat);
        EXPECT_EQ(stat.first_soh_time, expected) << soh;
    };
    cycle(-1);
    size_t reached = 0;
    for (const int32_t border : {95'000, 90'000, 85'000, 80'000, 70'000, 60'000, 50'000, 40'000, 20'000}) {
        cycle(border);
        expected[reached++] = static_cast<uint64_t>(wall_time);
        cycle(border - 1);
        cycle(100'000);
    }
}

TEST(SoftChargeHistory, StatesOfHealthByPeriod) {
    const std::tuple<const char*, int32_t, int32_t> rows[] = {
        {"end of a period", 863'999, 0},
        {"start of a period", 864'000, 1},
        {"last second kept", 217'727'999, 251},
        {"beyond", 217'728'000, -1},
        {"negative", -1, -1},
    };
    for (const auto& [name, online_time, period] : rows) {
        BattStat stat{};
        copy_soft_charge_history(
            {.usage = {.online_time = online_time}, .health = {.latest_raw_soh = 20'001, .latest_user_soh = 131'075}},
            stat);
        PerPeriod<uint16_t> expected_raw{}, expected_user{};
        if (period >= 0) {
            expected_raw[static_cast<size_t>(period)] = 10'000;
            expected_user[static_cast<size_t>(period)] = 1;  // 16 bits are kept
        }
        EXPECT_EQ(stat.latest_raw_soh, 10'000) << name;
        EXPECT_EQ(stat.latest_user_soh, 1) << name;
        EXPECT_EQ(stat.raw_soh_per_10days, expected_raw) << name;
        EXPECT_EQ(stat.user_soh_per_10days, expected_user) << name;
    }
}

}  // namespace
}  // namespace cellwarden

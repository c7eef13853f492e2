#include "stats/batt_stat_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "platform/unit_store.h"
#include "state/batt_stat.h"
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

}  // namespace
}  // namespace cellwarden

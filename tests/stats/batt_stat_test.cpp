#include "stats/batt_stat.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/unit_store.h"
#include "support/bits.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr size_t RECORD_SIZE = 9728;

template <typename T>
void poke(std::string& image, size_t offset, T value) {
    memcpy(image.data() + offset, &value, sizeof value);
}

// A stored record of layout 5.2.`patch` with a learned capacity of 4,400 mAh and something
// everywhere else.
std::string stored_record(char patch = 4) {
    std::string image(RECORD_SIZE, '\x11');
    image.replace(0, 4, std::string("\x01\x05\x02", 3) + patch);
    poke<uint16_t>(image, 0x0004, 4400);
    return image;
}

std::string reset_record() {
    std::string image(RECORD_SIZE, '\0');
    image.replace(0, 4, "\x01\x05\x02\x04");
    image.replace(0x0E9C, 4, std::string("\x00\x80\xFF\x7F", 4));
    image.replace(0x1400, 252, 252, '\xFF');
    image.replace(0x1900, 252, 252, '\xFF');
    return image;
}

std::string with(std::string image, size_t offset, const std::string& bytes) {
    return image.replace(offset, bytes.size(), bytes);
}

struct Loaded {
    ServiceState state;
    BattStat stat;

    explicit Loaded(const std::string& stored) {
        phone.units[UNIT_BATT_STAT] = stored;
        memset(&stat, 0xFF, sizeof stat);
        init_batt_stat(state, stat);
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
        {"5.2.3 without capacity", with(stored_record(3), 4, {0, 0}), -1, with(valid, 4, {0, 0}), true},
        {"highest marker", with(valid, 0, "\xFE"), 4400, with(valid, 0, "\xFE")},
        {"5.2.2", stored_record(2), -1},
        {"5.2.5", stored_record(5), -1},
        {"4.2.4", with(valid, 1, "\x04"), -1},
        {"5.3.4", with(valid, 2, "\x03"), -1},
        {"erased marker", with(valid, 0, "\xFF"), 0},
        {"erased and short", "\xFF", 0},
        {"zero marker", with(valid, 0, {0}), -1},
        {"one byte short", valid.substr(0, RECORD_SIZE - 1), -1},
        {"5.2.3 one byte too long", stored_record(3) + "x", -1},
        {"shorter than a header", valid.substr(0, 3), -1},
        {"empty", "", -1},
        {"unreadable", valid, -1, reset_record(), false, true},
    };
    for (const auto& row : rows) {
        phone.failing_reads.clear();
        if (row.read_fails) {
            phone.failing_reads.insert(UNIT_BATT_STAT);
        }
        const Loaded loaded(row.stored);
        EXPECT_TRUE(test::bytes_of(loaded.stat) == row.expected) << row.name;
        EXPECT_EQ(loaded.state.production_date_fix_pending, row.fix_pending) << row.name;
        EXPECT_EQ(loaded.state.restore_capacity_mah, row.restore) << row.name;
    }
    EXPECT_TRUE(phone.log.empty() && phone.unit_writes.empty());
}

// What a history through a restart does not show: widths, and what is not written back.
TEST(BattStatLoad, SeedsTheWorkingState) {
    std::string image = stored_record();
    poke<uint16_t>(image, 0x003A, 65'535);
    poke<uint16_t>(image, 0x003C, 40'003);
    poke<uint16_t>(image, 0x003E, 40'004);
    poke<uint32_t>(image, 0x0098, 4'000'000'001);
    poke<uint64_t>(image, 0x0E30, 0x1'8000'0001);
    image[0x0EFC] = '\xD3';
    poke<uint32_t>(image, 0x1000, UINT32_MAX);
    poke<uint32_t>(image, 0x1500, 4'000'000'001);
    const ServiceState state = Loaded(image).state;
    EXPECT_EQ(state.latest_raw_soh, 131'070);
    EXPECT_EQ(state.latest_filtered_soh, 80'006);
    EXPECT_EQ(state.soh, 80'006);
    EXPECT_EQ(state.latest_predicted_soh, 80'008);
    EXPECT_EQ(state.total_cycle_count, 4'000'000'001);
    EXPECT_EQ(state.soc_full_total_time, INT32_MIN + 1);
    EXPECT_EQ(state.soft_charge_override, 0xD3);
    EXPECT_EQ(bits_of(state.total_arrhenius), bits_of(UINT32_MAX));
    EXPECT_EQ(bits_of(state.total_full_stay_cap_degradation), bits_of(extended(4'000'000'001) / 1'000'000));
}

TEST(BattStatLoad, SeedsTheReferenceOfTheUsersSoh) {
    const struct {
        const char* name;
        uint32_t online_time;
        int32_t expected_index, expected_soh;
    } rows[] = {
        {"a second short of a period", 863'999, -1, 100'000}, {"one period", 864'000, 0, 0},
        {"the last kept period", 218'591'999, 251, 5020},     {"no period is kept any more", 218'592'000, -1, 100'000},
        {"beyond 31 bits", 0x8000'0000, -1, 100'000},
    };
    for (const auto& row : rows) {
        std::string image = stored_record();
        poke<uint32_t>(image, 0x0028, row.online_time);
        for (uint16_t i = 0; i < 252; i++) {
            poke<uint16_t>(image, 0x1E00U + 2U * i, static_cast<uint16_t>(10 * i));
        }
        const ServiceState state = Loaded(image).state;
        EXPECT_EQ(state.prev_soh_bucket_index, row.expected_index) << row.name;
        EXPECT_EQ(state.prev_bucket_user_soh, row.expected_soh) << row.name;
    }
}

TEST(BattStatLoad, CountsTheLevelsReachedInOrder) {
    const struct {
        std::array<uint64_t, 5> onlinetime;
        int32_t expected;
    } rows[] = {{{5, 0, 7, 8, 9}, 1}, {{0, 6, 7, 8, 9}, 0}, {{1ULL << 32, 6, 7, 8, 9}, 5}};
    for (const auto& row : rows) {
        std::string image = stored_record();
        poke(image, 0x00A0, row.onlinetime);
        EXPECT_EQ(Loaded(image).state.soft_charge1_level, row.expected) << "first is " << row.onlinetime[0];
    }
}

TEST(BattStatSave, ComesOnceADayAtShutdownAndAfterLearning) {
    struct Call {
        int64_t boot_time;
        int32_t phase;
        uint64_t learning_time;
        bool saved;
    };
    const struct {
        const char* name;
        std::vector<Call> calls;
    } rows[] = {
        {"a day after boot", {{86'399, 3, 0, false}, {86'400, 3, 0, true}, {86'401, 3, 0, false}}},
        {"in each cycle of shutdown", {{10, 4, 0, true}, {11, 4, 0, true}, {12, 3, 0, false}}},
        {"shutdown starts the day anew", {{50'000, 4, 0, true}, {136'399, 3, 0, false}, {136'400, 3, 0, true}}},
        {"the first learning event is only remembered",
         {{10, 3, 0, false}, {11, 3, 500, false}, {13, 3, 501, true}, {14, 3, 501, false}, {15, 3, 500, true}}},
        {"an event that is gone is a change, the next one not",
         {{10, 3, 500, false}, {11, 3, 0, true}, {12, 3, 600, false}, {13, 3, 601, true}}},
        {"the event is remembered with a save that was due anyway",
         {{10, 3, 500, false}, {11, 4, 501, true}, {12, 3, 501, false}}},
        {"the boot clock went back", {{90'000, 3, 0, true}, {10, 3, 0, false}}},
    };
    for (const auto& row : rows) {
        ServiceState state;
        BattStat stat;
        reset_batt_stat(stat);
        for (const Call& call : row.calls) {
            phone.unit_writes.clear();
            state.cycle_boot_time = call.boot_time;
            stat.last_learning_time = call.learning_time;
            save_batt_stat_if_is_timing(state, snapshot_of({{PARAM_BOOTUP_SHUTDOWN_PHASE, call.phase}}), stat);
            ASSERT_EQ(phone.unit_writes.size(), call.saved ? 1 : 0) << row.name << ", at " << call.boot_time;
            if (call.saved) {
                EXPECT_EQ(phone.unit_writes[0].first, 2491);
                EXPECT_TRUE(phone.unit_writes[0].second == test::bytes_of(stat)) << row.name;
            }
        }
    }
}

TEST(BattStatSave, AFailedSaveIsLoggedAndWaitsForItsNextTime) {
    phone.failing_writes.insert(UNIT_BATT_STAT);
    ServiceState state;
    const BattStat stat{};
    for (const int64_t boot_time : {86'400, 172'799}) {
        state.cycle_boot_time = boot_time;
        save_batt_stat_if_is_timing(state, snapshot_of({}), stat);
    }
    EXPECT_EQ(phone.unit_writes.size(), 1);
    EXPECT_EQ(phone.log, std::vector<std::string>{"<3>cellwarden: Failed to save battery statistics"});
    EXPECT_EQ(state.last_stat_save_time, 86'400);
}

}  // namespace
}  // namespace cellwarden

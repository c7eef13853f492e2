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
    ASSERT_LE(offset + sizeof value, image.size());
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

TEST(BattStatLoad, AcceptsUpgradesOrResetsTheStoredRecord) {
    const std::string valid = stored_record();
    const std::string none(2, '\0');
    const struct {
        const char* name;
        std::string stored;
        bool read_fails;
        std::string expected;
        bool fix_pending;
        int32_t restore;
    } rows[] = {
        {"5.2.4", valid, false, valid, false, 4400},
        {"5.2.3 is upgraded", stored_record(3), false, valid, true, 4400},
        {"5.2.3 without capacity", with(stored_record(3), 4, none), false, with(valid, 4, none), true, -1},
        {"highest marker", with(valid, 0, "\xFE"), false, with(valid, 0, "\xFE"), false, 4400},
        {"5.2.2", stored_record(2), false, reset_record(), false, -1},
        {"5.2.5", stored_record(5), false, reset_record(), false, -1},
        {"4.2.4", with(valid, 1, "\x04"), false, reset_record(), false, -1},
        {"5.3.4", with(valid, 2, "\x03"), false, reset_record(), false, -1},
        {"erased", std::string(RECORD_SIZE, '\xFF'), false, reset_record(), false, 0},
        {"erased marker only", with(valid, 0, "\xFF"), false, reset_record(), false, 0},
        {"erased and short", "\xFF", false, reset_record(), false, 0},
        {"zero marker", with(valid, 0, none.substr(1)), false, reset_record(), false, -1},
        {"one byte short", valid.substr(1), false, reset_record(), false, -1},
        {"one byte short with a good header", valid.substr(0, RECORD_SIZE - 1), false, reset_record(), false, -1},
        {"5.2.3 one byte too long", stored_record(3) + "x", false, reset_record(), false, -1},
        {"header alone", valid.substr(0, 4), false, reset_record(), false, -1},
        {"shorter than a header", valid.substr(0, 3), false, reset_record(), false, -1},
        {"empty", "", false, reset_record(), false, -1},
        {"unreadable", valid, true, reset_record(), false, -1},
    };
    for (const auto& row : rows) {
        phone.units[UNIT_BATT_STAT] = row.stored;
        phone.failing_reads.clear();
        if (row.read_fails) {
            phone.failing_reads.insert(UNIT_BATT_STAT);
        }
        ServiceState state;
        BattStat stat;
        memset(&stat, 0xFF, sizeof stat);
        init_batt_stat(state, stat);
        EXPECT_TRUE(test::bytes_of(stat) == row.expected) << row.name;
        EXPECT_EQ(state.production_date_fix_pending, row.fix_pending) << row.name;
        EXPECT_EQ(state.restore_capacity_mah, row.restore) << row.name;
    }
    EXPECT_TRUE(phone.log.empty());
    EXPECT_TRUE(phone.unit_writes.empty());
}

TEST(BattStatLoad, AResetRecordSeedsAFreshBattery) {
    ServiceState state;
    BattStat stat;
    init_batt_stat(state, stat);
    EXPECT_EQ(state.soft_charge_mode, 0);
    EXPECT_EQ(state.soh, 0);
    EXPECT_EQ(state.prev_soh_bucket_index, -1);
    EXPECT_EQ(state.prev_bucket_user_soh, 100'000);
}

// Every seeded field comes from its own place in the record, in its own width and unit.
TEST(BattStatLoad, SeedsTheWorkingState) {
    std::string image = stored_record();
    poke<uint32_t>(image, 0x0028, 1'500'000);
    poke<uint16_t>(image, 0x0038, 40'001);
    poke<uint16_t>(image, 0x003A, 65'535);
    poke<uint16_t>(image, 0x003C, 40'003);
    poke<uint16_t>(image, 0x003E, 40'004);
    poke<uint32_t>(image, 0x0090, 77);
    poke<uint32_t>(image, 0x0098, 4'000'000'001);
    poke<uint32_t>(image, 0x0100, 1001);
    poke<uint32_t>(image, 0x0100 + 4 * 671, 1002);
    poke<uint32_t>(image, 0x0B80, 1003);
    poke<uint32_t>(image, 0x0B80 + 4 * 159, 1004);
    poke<uint64_t>(image, 0x0E30, 0x1'8000'0001);
    image[0x0EFC] = '\xD3';
    poke<uint32_t>(image, 0x1000, UINT32_MAX);
    poke<uint32_t>(image, 0x1500, 4'000'000'000);
    poke<uint32_t>(image, 0x1A00, 1);
    for (size_t i = 0; i < 252; i++) {
        poke<uint32_t>(image, 0x1010 + 4 * i, static_cast<uint32_t>(10'000 + i));
        poke<uint32_t>(image, 0x1510 + 4 * i, static_cast<uint32_t>(20'000'000 + i));
        poke<uint32_t>(image, 0x1A10 + 4 * i, static_cast<uint32_t>(30'000'000 + i));
        image[0x1400 + i] = static_cast<char>(i);
        image[0x1900 + i] = static_cast<char>(255 - i);
        poke<uint16_t>(image, 0x1E00 + 2 * i, static_cast<uint16_t>(50'000 - i));
    }
    phone.units[UNIT_BATT_STAT] = image;
    ServiceState state;
    BattStat stat;
    init_batt_stat(state, stat);

    EXPECT_EQ(state.online_time, 1'500'000);
    EXPECT_EQ(state.latest_user_soh, 80'002);
    EXPECT_EQ(state.latest_raw_soh, 131'070);
    EXPECT_EQ(state.latest_filtered_soh, 80'006);
    EXPECT_EQ(state.soh, 80'006);
    EXPECT_EQ(state.latest_predicted_soh, 80'008);
    EXPECT_EQ(state.soft_charge_mode, 77);
    EXPECT_EQ(state.total_cycle_count, 4'000'000'001);
    EXPECT_EQ(state.vt_cet_table.front(), 1001);
    EXPECT_EQ(state.vt_cet_table.back(), 1002);
    EXPECT_EQ(state.ct_charge_table.front(), 1003);
    EXPECT_EQ(state.ct_charge_table.back(), 1004);
    EXPECT_EQ(state.soc_full_total_time, INT32_MIN + 1);
    EXPECT_EQ(state.soft_charge_override, 0xD3);
    const auto same = [](extended value, uint32_t stored, int32_t divisor) {
        return bits_of(value) == bits_of(static_cast<extended>(stored) / divisor);
    };
    EXPECT_TRUE(same(state.total_arrhenius, UINT32_MAX, 1));
    EXPECT_TRUE(same(state.total_full_stay_cap_degradation, 4'000'000'000, 1'000'000));
    EXPECT_TRUE(same(state.total_cycle_degradation, 1, 1'000'000));
    for (uint32_t i = 0; i < 252; i++) {
        EXPECT_TRUE(same(state.arrhenius_per_10days[i], 10'000 + i, 1)) << i;
        EXPECT_TRUE(same(state.full_stay_capacity_degradation_per_10days[i], 20'000'000 + i, 1'000'000)) << i;
        EXPECT_TRUE(same(state.cycle_degradation_per_10days[i], 30'000'000 + i, 1'000'000)) << i;
        EXPECT_EQ(state.arrhenius_lv[i], i);
        EXPECT_EQ(state.full_stay_capacity_degradation_aging_lv[i], 255 - i);
    }
}

TEST(BattStatLoad, SeedsTheReferenceOfTheUsersSoh) {
    const struct {
        const char* name;
        uint32_t online_time;
        int32_t expected_index, expected_soh;
    } rows[] = {
        {"a second short of a period", 863'999, -1, 100'000},
        {"one period", 864'000, 0, 0},
        {"two periods", 1'728'000, 1, 20},
        {"the last kept period", 218'591'999, 251, 5020},
        {"no period is kept any more", 218'592'000, -1, 100'000},
        {"beyond 31 bits", 0x8000'0000, -1, 100'000},
    };
    for (const auto& row : rows) {
        std::string image = stored_record();
        poke<uint32_t>(image, 0x0028, row.online_time);
        for (uint16_t i = 0; i < 252; i++) {
            poke<uint16_t>(image, 0x1E00U + 2U * i, static_cast<uint16_t>(10 * i));
        }
        phone.units[UNIT_BATT_STAT] = image;
        ServiceState state;
        BattStat stat;
        init_batt_stat(state, stat);
        EXPECT_EQ(state.prev_soh_bucket_index, row.expected_index) << row.name;
        EXPECT_EQ(state.prev_bucket_user_soh, row.expected_soh) << row.name;
    }
}

TEST(BattStatLoad, CountsTheLevelsReachedInOrder) {
    const struct {
        const char* name;
        std::array<uint64_t, 5> onlinetime;
        int32_t expected;
    } rows[] = {
        {"none", {}, 0},
        {"two", {5, 6, 0, 0, 0}, 2},
        {"up to the first gap", {5, 0, 7, 8, 9}, 1},
        {"not the first", {0, 6, 7, 8, 9}, 0},
        {"all, in 64 bits", {1ULL << 32, 6, 7, 8, 9}, 5},
    };
    for (const auto& row : rows) {
        std::string image = stored_record();
        poke(image, 0x00A0, row.onlinetime);
        phone.units[UNIT_BATT_STAT] = image;
        ServiceState state;
        BattStat stat;
        init_batt_stat(state, stat);
        EXPECT_EQ(state.soft_charge1_level, row.expected) << row.name;
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
        {"and every day", {{90'000, 0, 0, true}, {176'399, 0, 0, false}, {176'400, 0, 0, true}}},
        {"in each cycle of shutdown", {{10, 4, 0, true}, {11, 4, 0, true}, {12, 3, 0, false}}},
        {"shutdown starts the day anew", {{50'000, 4, 0, true}, {136'399, 3, 0, false}, {136'400, 3, 0, true}}},
        {"the first learning event is only remembered",
         {{10, 3, 0, false},
          {11, 3, 500, false},
          {12, 3, 500, false},
          {13, 3, 501, true},
          {14, 3, 501, false},
          {15, 3, 500, true}}},
        {"an event from before the start is no change", {{10, 3, 500, false}, {11, 3, 500, false}}},
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
                EXPECT_EQ(state.last_stat_save_time, call.boot_time) << row.name;
            }
        }
    }
    EXPECT_TRUE(phone.log.empty());
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

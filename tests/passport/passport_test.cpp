#include "passport/passport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "passport/large_table.h"
#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr const char* NO_IMEI = "<3>cellwarden: Failed to get IMEI";
constexpr const char* NOT_REPAIRED = "<3>cellwarden: Failed to write TESSERA_BATTERY_PRODUCTION_DATE";
constexpr const char* REPAIRED = "<3>cellwarden: Battery manufacturing date has been repaired";
constexpr const char* NO_DATE = "<3>cellwarden: Failed to read manufacturing_date in Tessera:2802";
constexpr const char* NO_FIRST_USAGE = "<3>cellwarden: Failed to read first_usage_date in Tessera:2803";
constexpr const char* NO_CYCLE_COUNT = "<3>cellwarden: Failed to save cycle_count in Tessera:2804";
constexpr const char* NO_STATE_OF_HEALTH = "<3>cellwarden: Failed to save state_of_health in Tessera:2805";

using Log = std::vector<std::string>;
using UnitWrites = std::vector<std::pair<uint32_t, std::string>>;

// A phone in which all is published but what a test takes back, with attributes that tell whether
// they were written.
class Passport : public testing::Test {
  protected:
    Passport() {
        state.passport = {.production_date_published = true,
                          .first_usage_date_published = true,
                          .last_cycle_count_written = 0,
                          .last_charge_full_written = 0,
                          .last_soh_written = 0};
        for (const SysfsParamId id :
             {PARAM_BATTERY_MANUFACTURING_DATE, PARAM_BATTERY_FIRST_USAGE_DATE, PARAM_BATTERY_CYCLE_COUNT,
              PARAM_BATTERY_CHARGE_FULL, PARAM_BATTERY_STATE_OF_HEALTH}) {
            write_attribute(id, "-");
        }
    }

    // One call, and what an attribute holds after it; "-" where it was not written.
    std::string published(SysfsParamId id) {
        write_attribute(id, "-");
        phone.log.clear();
        phone.unit_writes.clear();
        update_eu_eco_system_values(state);
        return read_attribute(id);
    }

    ServiceState state;
};

TEST_F(Passport, ProductionDateIsReadUntilItIsPublished) {
    const struct {
        const char* name;
        std::string unit;
        const char* published;
        Log log;
    } steps[] = {
        {"five bytes", "25040", "-", {NO_DATE}},
        {"no date", "251301", "-", {}},
        {"a date", "250401", "1743465600\n", {}},
        {"published for good", "250402", "-", {}},
    };
    state.passport.production_date_published = false;
    phone.units[UNIT_PRODUCTION_DATE] = "250401";
    phone.failing_reads = {UNIT_PRODUCTION_DATE};
    EXPECT_EQ(published(PARAM_BATTERY_MANUFACTURING_DATE), "-");
    EXPECT_EQ(phone.log, Log{NO_DATE}) << "unreadable";
    phone.failing_reads.clear();
    for (const auto& step : steps) {
        phone.units[UNIT_PRODUCTION_DATE] = step.unit;
        EXPECT_EQ(published(PARAM_BATTERY_MANUFACTURING_DATE), step.published) << step.name;
        EXPECT_EQ(phone.log, step.log) << step.name;
    }
}

TEST_F(Passport, ProductionDateIsRepaired) {
    const std::string known = imei_of(60);  // date 600105
    const struct {
        const char* name;
        std::map<int, std::string> imei;
        bool write_fails;
        std::string unit;
        const char* published;
        Log log;
        bool pending;
    } rows[] = {
        {"no IMEI", {}, false, "250401", "-", {NO_IMEI}, true},
        {"an IMEI in another slot", {{0, known}, {2, known}}, false, "250401", "-", {NO_IMEI}, true},
        {"a write that fails", {{1, known}}, true, "250401", "-", {NOT_REPAIRED}, true},
        {"a known phone", {{1, known}}, false, "600105", "-1454480896\n", {REPAIRED}, false},
        {"an unknown phone", {{1, "350000000009999"}}, false, "250401", "1743465600\n", {}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone = {};
        phone.units[UNIT_PRODUCTION_DATE] = "250401";
        phone.imei = row.imei;
        if (row.write_fails) {
            phone.failing_writes = {UNIT_PRODUCTION_DATE};
        }
        state.passport.production_date_published = false;
        state.production_date_fix_pending = true;
        EXPECT_EQ(published(PARAM_BATTERY_MANUFACTURING_DATE), row.published);
        EXPECT_EQ(phone.log, row.log);
        EXPECT_EQ(phone.units[UNIT_PRODUCTION_DATE], row.unit);
        EXPECT_EQ(state.production_date_fix_pending, row.pending);
    }
}

TEST_F(Passport, FirstUsageDateIsReadUntilItIsPublished) {
    const struct {
        const char* name;
        std::string unit;
        const char* published;
    } rows[] = {
        {"empty", "", "-"},
        {"three bytes", std::string(3, '\1'), "-"},
        {"four bytes", "\x01\x02\x03\x04", "67305985\n"},
        {"more than there is room for", "\x01\x02\x03\x04" + std::string(100, '\xFF'), "67305985\n"},
        {"negative", "\xFF\xFF\xFF\xFF", "0\n"},
    };
    state.passport.first_usage_date_published = false;
    phone.units[UNIT_FIRST_USAGE_DATE] = "\1\2\3\4";
    phone.failing_reads = {UNIT_FIRST_USAGE_DATE};
    EXPECT_EQ(published(PARAM_BATTERY_FIRST_USAGE_DATE), "-") << "unreadable";
    phone.failing_reads.clear();
    for (const auto& row : rows) {
        const std::string expected = row.published;
        state.passport.first_usage_date_published = false;
        phone.units[UNIT_FIRST_USAGE_DATE] = row.unit;
        EXPECT_EQ(published(PARAM_BATTERY_FIRST_USAGE_DATE), expected) << row.name;
        EXPECT_EQ(phone.log, expected == "-" ? Log{NO_FIRST_USAGE} : Log{}) << row.name;
        EXPECT_EQ(published(PARAM_BATTERY_FIRST_USAGE_DATE), "-") << row.name << ", the second time";
    }
}

TEST_F(Passport, CycleCountIsStoredAndPublishedOnChange) {
    const struct {
        const char* name;
        uint32_t total;
        UnitWrites stored;
        const char* published;
        bool write_fails = false;
    } steps[] = {
        {"nothing new", 9'999, {}, "-"},
        {"the first cycle", 10'000, {{2804, {"\1\0\0\0", 4}}}, "1\n"},
        {"cannot be stored", 12'345'678, {{2804, {"\xD2\4\0\0", 4}}}, "-", true},
        {"tried again", 12'345'678, {{2804, {"\xD2\4\0\0", 4}}}, "1234\n"},
        {"the most", UINT32_MAX, {{2804, {"\xB8\x8D\6\0", 4}}}, "429496\n"},
    };
    for (const auto& step : steps) {
        phone.failing_writes.clear();
        if (step.write_fails) {
            phone.failing_writes = {UNIT_CYCLE_COUNT};
        }
        state.total_cycle_count = step.total;
        EXPECT_EQ(published(PARAM_BATTERY_CYCLE_COUNT), step.published) << step.name;
        EXPECT_EQ(phone.unit_writes, step.stored) << step.name;
        EXPECT_EQ(phone.log, step.write_fails ? Log{NO_CYCLE_COUNT} : Log{}) << step.name;
    }
}

TEST_F(Passport, StateOfHealthIsRoundedStoredAndPublishedOnChange) {
    const struct {
        int32_t soh;
        UnitWrites stored;
        const char* published;
        bool write_fails = false;
    } steps[] = {
        {499, {}, "-"},  // the start value, 0 %
        {500, {{2805, {"\1\0", 2}}}, "1\n"},
        {-499, {{2805, {"\0\0", 2}}}, "0\n"},
        {-1'499, {}, "-"},  // truncated toward zero
        {95'499, {{2805, {"\x5F\0", 2}}}, "95\n"},
        {95'500, {{2805, {"\x60\0", 2}}}, "-", true},
        {95'500, {{2805, {"\x60\0", 2}}}, "96\n"},
        {-2'500, {{2805, {"\xFE\xFF", 2}}}, "65534\n"},  // low 16 bits
        {INT32_MAX, {{2805, {"\x9C\xC4", 2}}}, "50332\n"},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.soh);
        phone.failing_writes.clear();
        if (step.write_fails) {
            phone.failing_writes = {UNIT_STATE_OF_HEALTH};
        }
        state.latest_user_soh = step.soh;
        EXPECT_EQ(published(PARAM_BATTERY_STATE_OF_HEALTH), step.published);
        EXPECT_EQ(phone.unit_writes, step.stored);
        EXPECT_EQ(phone.log, step.write_fails ? Log{NO_STATE_OF_HEALTH} : Log{});
    }
}

TEST_F(Passport, ChargeFullIsPublishedOnChange) {
    const struct {
        int32_t charge_full;
        const char* published;
    } steps[] = {{0, "-"}, {4'500'000, "4500000\n"}, {4'500'000, "-"}, {INT32_MIN, "-2147483648\n"}, {0, "0\n"}};
    for (const auto& step : steps) {
        state.user_charge_full = step.charge_full;
        EXPECT_EQ(published(PARAM_BATTERY_CHARGE_FULL), step.published) << step.charge_full;
        EXPECT_EQ(phone.unit_writes, UnitWrites{});
    }
}

TEST_F(Passport, FirstCallPublishesEverythingInItsOrder) {
    state = {};
    state.user_charge_full = 0;
    phone.units = {{UNIT_PRODUCTION_DATE, "250401"}, {UNIT_FIRST_USAGE_DATE, "\1\2\3\4"}};
    update_eu_eco_system_values(state);
    EXPECT_EQ(phone.unit_writes, (UnitWrites{{2804, {"\0\0\0\0", 4}}, {2805, {"\0\0", 2}}}));
    EXPECT_EQ(read_attribute(PARAM_BATTERY_MANUFACTURING_DATE), "1743465600\n");
    EXPECT_EQ(read_attribute(PARAM_BATTERY_FIRST_USAGE_DATE), "67305985\n");
    EXPECT_EQ(read_attribute(PARAM_BATTERY_CYCLE_COUNT), "0\n");
    EXPECT_EQ(read_attribute(PARAM_BATTERY_CHARGE_FULL), "0\n");
    EXPECT_EQ(read_attribute(PARAM_BATTERY_STATE_OF_HEALTH), "0\n");
    EXPECT_TRUE(phone.log.empty());

    // No failure keeps the others from being tried.
    state = {};
    phone.units.clear();
    phone.failing_writes = {UNIT_CYCLE_COUNT, UNIT_STATE_OF_HEALTH};
    EXPECT_EQ(published(PARAM_BATTERY_CHARGE_FULL), "0\n");
    EXPECT_EQ(phone.log, (Log{NO_DATE, NO_FIRST_USAGE, NO_CYCLE_COUNT, NO_STATE_OF_HEALTH}));
}

}  // namespace
}  // namespace cellwarden

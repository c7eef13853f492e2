#include "passport/passport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "platform/unit_store.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

const std::string FAILED = "log <3>cellwarden: Failed to ";
const std::string REPAIRED = "log <3>cellwarden: Battery manufacturing date has been repaired";
const std::string NOT_REPAIRED = FAILED + "write TESSERA_BATTERY_PRODUCTION_DATE";
const std::string NO_IMEI = FAILED + "get IMEI";
const std::string NO_DATE = FAILED + "read manufacturing_date in Tessera:2802";
const std::string NO_FIRST_USAGE = FAILED + "read first_usage_date in Tessera:2803";

// Effects on units, and log lines; published() shows the attributes.
Calls unit_calls() {
    Calls lines = calls();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("write battery/"); });
    return lines;
}

struct Passport : testing::Test {
    ServiceState state{.passport = {.production_date_published = true,
                                    .first_usage_date_published = true,
                                    .last_cycle_count_written = 0,
                                    .last_soh_written = 0}};

    // Returns an attribute's text after one call; "-" if it was not written.
    std::string published(SysfsParamId id) {
        write_attribute(id, "-");
        clear_calls();
        update_eu_eco_system_values(device, state);
        return read_attribute(id);
    }
};

TEST_F(Passport, ProductionDateIsRepairedAndPublishedOnce) {
    const std::string known = "350000000000060";  // in fixes.csv
    const std::string read = "read unit 2802", write = "write unit 2802", failed = " failed";
    const struct {
        const char* name;
        std::map<int, std::optional<std::string>> imei;
        std::string unit;
        bool fails;  // reading or writing the unit fails
        const char* published;
        Calls calls;
        bool fix_pending;
    } rows[] = {
        {"no IMEI", {}, "250401", false, "-", {NO_IMEI}, true},
        {"a length without a text", {{1, std::nullopt}}, "250401", false, "-", {NO_IMEI}, true},
        {"an IMEI in another slot", {{0, known}, {2, known}}, "250401", false, "-", {NO_IMEI}, true},
        {"a write that fails", {{1, known}}, "250401", true, "-", {write + failed, NOT_REPAIRED}, true},
        {"a known phone", {{1, known}}, "250401", false, "-1454480896\n", {write, REPAIRED, read}, false},
        {"an unknown phone", {{1, "35"}}, "250401", false, "1743465600\n", {read}, false},
        {"the unit cannot be read", {{1, "35"}}, "250401", true, "-", {read + failed, NO_DATE}, false},
        {"five bytes", {{1, "35"}}, "25040", false, "-", {read, NO_DATE}, false},
        {"month 13", {{1, "35"}}, "251301", false, "-", {read}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone = StandIn{};
        phone.units[UNIT_PRODUCTION_DATE] = row.unit;
        phone.imei = row.imei;
        if (row.fails) {
            phone.failing_writes = phone.failing_reads = {UNIT_PRODUCTION_DATE};
        }
        state.passport.production_date_published = false;
        state.passport.production_date_fix_pending = true;
        EXPECT_EQ(published(PARAM_BATTERY_MANUFACTURING_DATE), row.published);
        EXPECT_EQ(unit_calls(), row.calls);
        EXPECT_EQ(state.passport.production_date_fix_pending, row.fix_pending);
        EXPECT_EQ(state.passport.production_date_published, row.published != "-"s);
        if (state.passport.production_date_published) {
            EXPECT_EQ(published(PARAM_BATTERY_MANUFACTURING_DATE), "-") << "the second time";
        }
    }
}

TEST_F(Passport, FirstUsageDateIsReadUntilItIsPublished) {
    const std::tuple<const char*, std::string, std::set<uint32_t>, std::string> rows[] = {
        {"unreadable", "\1\2\3\4", {2803}, "-"},
        {"three bytes", std::string(3, '\1'), {}, "-"},
        {"more bytes than the buffer", "\1\2\3\4" + std::string(100, '\xFF'), {}, "67305985\n"},
        {"negative", "\xFF\xFF\xFF\xFF", {}, "0\n"},
    };
    for (const auto& [name, unit, failing, expected] : rows) {
        state.passport.first_usage_date_published = false;
        phone.units[UNIT_FIRST_USAGE_DATE] = unit;
        phone.failing_reads = failing;
        EXPECT_EQ(published(PARAM_BATTERY_FIRST_USAGE_DATE), expected) << name;
        const std::string read = failing.empty() ? "read unit 2803" : "read unit 2803 failed";
        EXPECT_EQ(unit_calls(), expected == "-" ? Calls({read, NO_FIRST_USAGE}) : Calls{read}) << name;
        EXPECT_EQ(published(PARAM_BATTERY_FIRST_USAGE_DATE), "-") << name << ", the second time";
    }
}

TEST_F(Passport, FiguresAreRoundedStoredAndPublishedOnChange) {
    const struct {
        const char* name;
        uint32_t cycle_count;
        int32_t charge_full, soh;
        std::vector<std::pair<uint32_t, std::string>> stored;
        const char* published;  // cycles, full charge and state of health, "-" where not written
        std::set<uint32_t> failing = {};
    } steps[] = {
        {"first call", 9'999, 0, 499, {{2804, "\0\0\0\0"s}, {2805, "\0\0"s}}, "0\n0\n0\n"},
        {"no change", 0, 0, -1'499, {}, "---"},
        {"a cycle, half a per cent", 10'000, -5, 500, {{2804, "\1\0\0\0"s}, {2805, "\1\0"s}}, "1\n-5\n1\n"},
        {"writing the units fails",
         12'345'678,
         -5,
         95'500,
         {{2804, "\xD2\4\0\0"s}, {2805, "\x60\0"s}},
         "---",
         {2804, 2805}},
        {"retried in the next call",
         12'345'678,
         0,
         95'500,
         {{2804, "\xD2\4\0\0"s}, {2805, "\x60\0"s}},
         "1234\n0\n96\n"},
        {"low 16 bits", UINT32_MAX, 0, -2'500, {{2804, "\xB8\x8D\6\0"s}, {2805, "\xFE\xFF"s}}, "429496\n-65534\n"},
        {"largest values", UINT32_MAX, INT32_MIN, INT32_MAX, {{2805, "\x9C\xC4"s}}, "--2147483648\n50332\n"},
    };
    const SysfsParamId ids[] = {PARAM_BATTERY_CYCLE_COUNT, PARAM_BATTERY_CHARGE_FULL, PARAM_BATTERY_STATE_OF_HEALTH};
    state.passport = {.production_date_published = true, .first_usage_date_published = true};
    for (const auto& step : steps) {
        for (const SysfsParamId id : ids) {
            write_attribute(id, "-");
        }
        clear_calls();
        phone.failing_writes = step.failing;
        state.usage.total_cycle_count = step.cycle_count;
        state.health.user_charge_full = step.charge_full;
        state.health.latest_user_soh = step.soh;
        update_eu_eco_system_values(device, state);
        std::string published;
        for (const SysfsParamId id : ids) {
            published += read_attribute(id);
        }
        EXPECT_EQ(published, step.published) << step.name;
        std::vector<std::pair<uint32_t, std::string>> stored;
        for (const Effect& write : effects_of(Effect::Kind::UNIT_WRITE)) {
            stored.emplace_back(std::stoul(write.name), write.bytes);
        }
        EXPECT_EQ(stored, step.stored) << step.name;
    }
}

TEST_F(Passport, AFailureDoesNotStopTheOtherSteps) {
    state = {};
    phone.failing_writes = {UNIT_CYCLE_COUNT, UNIT_STATE_OF_HEALTH};
    EXPECT_EQ(published(PARAM_BATTERY_CHARGE_FULL), "0\n");
    EXPECT_EQ(unit_calls(), (Calls{"read unit 2802 failed", NO_DATE, "read unit 2803 failed", NO_FIRST_USAGE,
                                   "write unit 2804 failed", FAILED + "save cycle_count in Tessera:2804",
                                   "write unit 2805 failed", FAILED + "save state_of_health in Tessera:2805"}));
}

TEST(ProductionDate, IsReadInUtc) {
    constexpr std::optional<int32_t> NONE;
    const std::tuple<const char*, std::string, std::optional<int32_t>> rows[] = {
        {"the last day of a year", "251231", 1'767'139'200},
        {"29 February", "240229", 1'709'164'800},
        {"29 February of another year is 1 March", "250229", 1'740'787'200},
        {"day 32", "250132", NONE},
        {"the last day of 31 bits", "380119", 2'147'472'000},
        {"the low 32 bits of later days", "380120", -2'147'408'896},
        {"a letter in the day", "2504x1", NONE},
        {"a letter after one digit of the day", "25041x", 1'743'465'600},
        {"a NUL", std::string("2504\0001", 6), NONE},
        {"a negative month", "25-101", NONE},
        {"a negative year", "-10101", 915'148'800},
        {"blanks for zeros", " 2 5 4", 1'020'470'400},
    };
    setenv("TZ", "AHEAD-9", 1);  // dates are in UTC in every time zone
    tzset();
    for (const auto& [name, text, seconds] : rows) {
        char date[PRODUCTION_DATE_SIZE + 1] = {};
        std::copy(text.begin(), text.end(), date);
        EXPECT_EQ(production_date_seconds(date), seconds) << name;
    }
}

}  // namespace
}  // namespace cellwarden

#include "telemetry/charger_connection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"
#include "telemetry/describe.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr auto USB = PARAM_USB_ONLINE;
constexpr auto WLS = PARAM_WIRELESS_ONLINE;
constexpr auto USB_TYPE = PARAM_QCOM_USB_REAL_TYPE;
constexpr auto WLS_TYPE = PARAM_WLS_TYPE_TEXT;
constexpr auto SOC = PARAM_BATTERY_CAPACITY;
constexpr auto STAGE = PARAM_BATT_AGING_LEVEL;
constexpr auto BATT_UV = PARAM_BATTERY_VOLTAGE_NOW;
constexpr auto USB_UV = PARAM_USB_VOLTAGE_NOW;
constexpr auto CARE = PARAM_SMART_CHARGING_STATUS;
constexpr auto AICL = PARAM_REG_AICL_STATUS;
constexpr auto LEVEL = PARAM_SYSTEM_TEMP_LEVEL;
constexpr auto LEVEL_MAX = PARAM_SYSTEM_TEMP_LEVEL_MAX;

// A history from start-up on, with a highest thermal level that is not reached. A call is one cycle: what changed since
// the one before, and what is to be seen after it. The wall clock is 1,000,000 s ahead.
struct History {
    ServiceState state;
    ChgInsertionRemovalData connection;
    SysfsParams snapshot = snapshot_of({{LEVEL_MAX, 30}});

    void operator()(const char* name, int64_t boot_time, const std::vector<Given>& changed,
                    const std::string& expected) {
        for (const Given& given : changed) {
            set_param(snapshot, given);
        }
        state.cycle_boot_time = boot_time;
        state.cycle_wall_time = 1'000'000 + boot_time;
        set_chg_insertion_removal_data(state, snapshot, connection);
        EXPECT_EQ(describe(connection, {{"days", state.usb_long_insertion_counter},
                                        {"heats", state.usb_connector_heat_count},
                                        {"heat_at", state.usb_connector_heat_time}}),
                  expected)
            << name;
    }
};

TEST(ChargerConnection, StateFollowsFromTwoOnlineValues) {
    constexpr int32_t ONLINE[] = {-1, 0, 1, 2};
    // A row is what was before, a column what is now.
    constexpr uint32_t EXPECTED[4][4] = {{0, 0, 0, 0}, {0, 0, 1, 0}, {0, 3, 2, 0}, {0, 0, 0, 0}};
    for (size_t before = 0; before < 4; before++) {
        for (size_t now = 0; now < 4; now++) {
            EXPECT_EQ(connection_state_of(ONLINE[before], ONLINE[now]), EXPECTED[before][now])
                << ONLINE[before] << " then " << ONLINE[now];
        }
    }
}

TEST(ChargerConnection, UsbFromInsertionToRemoval) {
    History cycle;
    cycle("nothing attached", 100, {{SOC, 50}, {STAGE, 2}, {BATT_UV, 4'000}, {LEVEL, 7}}, "");
    cycle("inserted; a type, the latch and AICL count from the next cycle on", 110,
          {{USB, 1}, {USB_UV, 5'000}, {USB_TYPE, "PD"}, {CARE, 1}, {AICL, 4}},
          "usb=1 soc_in=50 stage_in=2 usb_uv=5000 batt_uv=4000");
    cycle("connected, in other values", 170, {{SOC, 60}, {STAGE, 3}, {BATT_UV, 4'100}, {USB_UV, 9'000}, {LEVEL, 19}},
          "usb=2 type=PD soc_in=50 stage_in=2 usb_uv=9000 batt_uv=4100 seconds=60 level7=60 care=1 aicl=1");
    cycle("lower voltages; the latch stays; another type", 180,
          {{CARE, 0}, {BATT_UV, 4'099}, {USB_UV, 8'999}, {USB_TYPE, "DCP"}},
          "usb=2 type=DCP soc_in=50 stage_in=2 usb_uv=9000 batt_uv=4100 seconds=70 level7=60 level19=10 care=1 aicl=1");
    cycle("removed", 183, {{USB, 0}, {SOC, 61}, {STAGE, 4}, {BATT_UV, 4'200}, {USB_UV, 9'001}, {USB_TYPE, ""}},
          "usb=3 type=DCP soc_in=50 stage_in=2 soc_out=61 stage_out=4 usb_uv=9001 batt_uv=4200 seconds=73 level7=60 "
          "level19=13 care=1 aicl=1");
    cycle("an insertion sets its own fields only", 200,
          {{USB, 1}, {SOC, 0}, {USB_UV, -5}, {STAGE, 0}, {BATT_UV, 3'900}},
          "usb=1 type=DCP soc_out=61 stage_out=4 usb_uv=-5 batt_uv=3900 seconds=73 level7=60 level19=13 care=1 aicl=1");
    cycle("an unreadable type empties the text; AICL rises anew", 201, {},
          "usb=2 soc_out=61 stage_out=4 usb_uv=-5 batt_uv=3900 seconds=74 level7=60 level19=14 care=1 aicl=2");
    cycle("so the removal has a bad connection", 202, {{USB, 0}, {BATT_UV, 1}},
          "usb=3 type=BAD CONNECTION usb_uv=-5 batt_uv=3900 seconds=75 level7=60 level19=15 care=1 aicl=2");
}

TEST(ChargerConnection, WirelessAlone) {
    History cycle;
    cycle("inserted", 100, {{WLS, 1}, {SOC, 50}, {STAGE, 2}, {BATT_UV, 4'000}, {USB_UV, 9}, {WLS_TYPE, "EPP"}},
          "wls=1 soc_in=50 stage_in=2 batt_uv=4000");
    cycle("connected; only USB takes references for time", 160,
          {{CARE, 1}, {BATT_UV, 4'100}, {USB_TYPE, "PD"}, {AICL, 4}, {LEVEL, 30}},
          "wls=2 type=EPP soc_in=50 stage_in=2 batt_uv=4100 care=1");
    cycle("removed", 170, {{WLS, 0}, {SOC, 70}, {STAGE, 1}, {BATT_UV, 4'101}},
          "wls=3 type=EPP soc_in=50 stage_in=2 soc_out=70 stage_out=1 batt_uv=4101 care=1");
}

TEST(ChargerConnection, BothSides) {
    History cycle;
    cycle("USB inserted", 100, {{USB, 1}, {USB_TYPE, "SDP"}, {WLS_TYPE, "BPP"}, {LEVEL, 3}}, "usb=1");
    cycle("wireless joins: its insertion starts the connection anew", 110, {{WLS, 1}, {SOC, 5}, {BATT_UV, 7}},
          "wls=1 usb=2 type=SDP soc_in=5 batt_uv=7 seconds=10 level3=10");
    cycle("both book their time; the USB type comes last", 120, {},
          "wls=2 usb=2 type=SDP soc_in=5 batt_uv=7 seconds=20 level3=30");
    cycle("wireless removed with USB: USB stands still", 130, {{WLS, 0}, {USB, 0}, {SOC, 6}},
          "wls=3 usb=2 type=SDP soc_in=5 soc_out=6 batt_uv=7 seconds=20 level3=40");
    cycle("USB's removal is seen now", 140, {{SOC, 8}},
          "usb=3 type=SDP soc_in=5 soc_out=8 batt_uv=7 seconds=40 level3=60");

    cycle = {};
    cycle("both inserted", 100, {{USB, 1}, {WLS, 1}, {WLS_TYPE, "BPP"}, {LEVEL, 3}}, "wls=1 usb=1");
    cycle("USB removed: the wireless type stays", 110, {{USB, 0}}, "wls=2 usb=3 type=BPP seconds=10 level3=20");
    cycle("wireless alone goes on counting from the last cycle with USB", 120, {{LEVEL, 4}},
          "wls=2 type=BPP seconds=10 level3=40");
    cycle("USB inserted while wireless goes", 130, {{USB, 1}, {WLS, 0}}, "wls=3 type=BPP seconds=10 level3=70");
    cycle("the insertion is seen now", 140, {}, "usb=1 type=BPP seconds=10 level3=70");
}

TEST(ChargerConnection, Days) {
    History cycle;
    cycle("inserted", 1, {{USB, 1}}, "usb=1");
    cycle("exactly a day", 86'401, {}, "usb=2 seconds=86400 level0=86400");
    cycle("a second more", 86'402, {}, "usb=2 seconds=86401 level0=86401 days=1");
    cycle("a day and two days at once: one a cycle", 86'402 + 3 * 86'400, {},
          "usb=2 seconds=345601 level0=345601 days=2");
    cycle("the removal counts as well", 86'403 + 3 * 86'400, {{USB, 0}},
          "usb=3 type=BAD CONNECTION seconds=345602 level0=345602 days=3");
    cycle.connection = {};  // a report has cleared it
    cycle("the next insertion starts at zero", 500'000, {{USB, 1}}, "usb=1");
    cycle("connected", 586'401, {}, "usb=2 seconds=86401 level0=86401 days=1");
    cycle.connection = {};  // a report has cleared it
    cycle("after a report the old mark stands: less than it", 586'402, {}, "usb=2 seconds=1 level0=1 days=1");
    cycle("a day more than it, exactly", 586'401 + 172'800, {}, "usb=2 seconds=172800 level0=172800 days=1");
    cycle("and a second", 586'402 + 172'800, {}, "usb=2 seconds=172801 level0=172801 days=2");
}

TEST(ChargerConnection, AiclRises) {
    History cycle;
    cycle("inserted", 1, {{USB, 1}}, "usb=1");
    cycle("other bits", 1, {{AICL, 0xB}}, "usb=2");
    cycle("a rise", 1, {{AICL, 0x7}}, "usb=2 aicl=1");
    cycle("it stays", 1, {{AICL, -1}}, "usb=2 aicl=1");
    cycle("a fall", 1, {{AICL, 0}}, "usb=2 aicl=1");
    cycle("another rise", 1, {{AICL, INT32_MAX}}, "usb=2 aicl=2");
    cycle("a removal does not look", 1, {{USB, 0}, {AICL, 0}}, "usb=3 type=BAD CONNECTION aicl=2");
    cycle.connection = {};  // a report has cleared it
    cycle("the next connection", 1, {{USB, 1}}, "usb=1");
    cycle("without the bit", 1, {}, "usb=2");
    cycle("a removal does not count", 1, {{USB, 0}, {AICL, 4}}, "usb=3 type=BAD CONNECTION");
    cycle("nor does an insertion", 1, {{USB, 1}}, "usb=1 type=BAD CONNECTION");
    cycle("its first cycle does", 1, {}, "usb=2 aicl=1");
}

TEST(ChargerConnection, HeatEpisodes) {
    History cycle;
    cycle.state.usb_connector_heat_count = 253;
    cycle("hot, but no USB", 1, {{WLS, 1}, {LEVEL, 30}}, "wls=1 heats=253");
    cycle("hot at the insertion", 2, {{WLS, 0}, {USB, 1}}, "wls=3 type=BAD CONNECTION heats=253");
    cycle("which is seen after the wireless removal", 3, {},
          "usb=1 type=BAD CONNECTION hot=1 heats=254 heat_at=1000003");
    cycle("the same episode", 4, {}, "usb=2 seconds=1 hot=1 heats=254 heat_at=1000003");
    cycle("cooler", 5, {{LEVEL, 29}}, "usb=2 seconds=2 heats=254 heat_at=1000003");
    cycle("the next episode, at level 0 of 0", 6, {{LEVEL, 0}, {LEVEL_MAX, 0}},
          "usb=2 seconds=3 hot=1 heats=255 heat_at=1000006");
    cycle("beyond the highest level is not hot", 7, {{LEVEL, 1}}, "usb=2 seconds=4 level0=1 heats=255 heat_at=1000006");
    cycle("the count stops, the time does not", 8, {{LEVEL_MAX, 1}},
          "usb=2 seconds=5 level0=1 level1=1 hot=1 heats=255 heat_at=1000008");
    cycle.connection = {};  // a report has cleared it
    cycle("a report in between makes it a new one", 9, {}, "usb=2 seconds=1 level1=1 hot=1 heats=255 heat_at=1000009");
}

TEST(ChargerConnection, OddClocksAndLevels) {
    History cycle;
    cycle("boot time 0 is no reference", 0, {{USB, 1}, {LEVEL, 19}}, "usb=1");
    cycle("so nothing is booked", 50, {{LEVEL, 20}}, "usb=2");
    cycle("level 20 is booked nowhere", 60, {{LEVEL, -1}}, "usb=2 seconds=10");
    cycle("nor is -1", 80, {{LEVEL, INT32_MIN}}, "usb=2 seconds=30");
    cycle("nor is the lowest", 90, {{LEVEL, 19}}, "usb=2 seconds=40");
    cycle("19 is the last level", 100, {{LEVEL, 0}}, "usb=2 seconds=50 level19=10");
    cycle("a clock that goes back takes away", 93, {}, "usb=2 seconds=43 level0=-7 level19=10");
    cycle("a clock at 0 books nothing", 0, {}, "usb=2 seconds=43 level0=-7 level19=10");
}

TEST(ChargerConnection, TypeTextsOfAnyLengthAndBytes) {
    const std::string long_text(10'000, 'x');
    const std::pair<std::string, std::string> rows[] = {
        {"USB_PD_PPS_HVDC", "USB_PD_PPS_HVDC"},
        {"USB_PD_PPS_HVDCP", "USB_PD_PPS_HVDC"},
        {long_text, long_text.substr(0, 15)},
        {"\xFF\x80%s%n\n\x01", "\xFF\x80%s%n\n\x01"},
    };
    for (const auto& [text, kept] : rows) {
        History usb;
        usb("inserted", 1, {{USB, 1}, {USB_TYPE, text.c_str()}}, "usb=1");
        usb("connected", 1, {}, "usb=2 type=" + kept);
        History wireless;
        wireless("inserted", 1, {{WLS, 1}, {WLS_TYPE, text.c_str()}}, "wls=1");
        wireless("connected", 1, {}, "wls=2 type=" + kept);
    }
}

TEST(ChargerConnection, StartLoadsTheHeatEpisodes) {
    const std::string count = "\xC8";
    const std::string time("\x15\xCD\x5B\x07\0\0\0\x80", 8);
    const struct {
        const char* name;
        std::string count, time;
        uint8_t expected_count;
        int64_t expected_time;
        bool unreadable = false;
    } rows[] = {
        {"both", count, time, 200, INT64_MIN + 123'456'789},
        {"short", "", time.substr(0, 7), 0, 0},
        {"one of them, the other too long", count + count, time, 0, INT64_MIN + 123'456'789},
        {"time too long", count, time + count, 200, 0},
        {"unreadable", count, time, 0, 0, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone.units = {{UNIT_HEAT_COUNT, row.count}, {UNIT_HEAT_TIME, row.time}};
        if (row.unreadable) {
            phone.failing_reads = {UNIT_HEAT_COUNT, UNIT_HEAT_TIME};
        }
        ServiceState state{.usb_connector_heat_count = 9, .usb_connector_heat_time = 9};
        ChgInsertionRemovalData connection{.inserted_soc = 9, .wlc_guaranteed_power = 9};
        init_chg_insertion_removal_data(state, connection);
        EXPECT_EQ(state.usb_connector_heat_count, row.expected_count);
        EXPECT_EQ(state.usb_connector_heat_time, row.expected_time);
        EXPECT_EQ(describe(connection), "");
    }
    EXPECT_TRUE(phone.log.empty());
}

}  // namespace
}  // namespace cellwarden

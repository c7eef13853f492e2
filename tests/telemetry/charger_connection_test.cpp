#include "telemetry/charger_connection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"
#include "telemetry/usb_connector_heat.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr SysfsParamId USB = PARAM_USB_ONLINE, USB_TYPE = PARAM_QCOM_USB_REAL_TYPE, USB_UV = PARAM_USB_VOLTAGE_NOW;
constexpr SysfsParamId WLS = PARAM_WIRELESS_ONLINE, WLS_TYPE = PARAM_WLS_TYPE_TEXT, AICL = PARAM_REG_AICL_STATUS;
constexpr SysfsParamId SOC = PARAM_BATTERY_CAPACITY, STAGE = PARAM_BATT_AGING_LEVEL, CARE = PARAM_SMART_CHARGING_STATUS;
constexpr SysfsParamId BATT_UV = PARAM_BATTERY_VOLTAGE_NOW;
constexpr SysfsParamId LEVEL = PARAM_SYSTEM_TEMP_LEVEL, LEVEL_MAX = PARAM_SYSTEM_TEMP_LEVEL_MAX;

// The charger's type, then `name=value` for everything that is not zero.
std::string seen(const ServiceState& state, const ChgInsertionRemovalData& connection) {
    const auto& [learning, care, type, soc_in, soc_out, stage_in, stage_out, usb_uv, batt_uv, aicl, txid, ping, power,
                 levels, seconds, usb, wls, guaranteed, hot] = connection;
    const std::string names[] = {"wls",     "usb",    "soc_in", "stage_in", "soc_out", "stage_out",
                                 "batt_uv", "usb_uv", "care",   "aicl",     "hot",     "seconds"};
    const int64_t values[] = {wls,     usb,    soc_in, stage_in, soc_out, stage_out,
                              batt_uv, usb_uv, care,   aicl,     hot,     seconds};
    std::string text = std::string("[") + type + "]";
    const auto add = [&text](const std::string& name, int64_t value) {
        text += value != 0 ? " " + name + "=" + std::to_string(value) : "";
    };
    for (size_t i = 0; i < std::size(names); i++) {
        add(names[i], values[i]);
    }
    add("heats", state.usb_connector_heat_count);
    add("heat_at", state.usb_connector_heat_time);
    add("days", state.usb_long_insertion_counter);
    for (size_t level = 0; level < THERMAL_LEVEL_COUNT; level++) {
        add("level" + std::to_string(level), static_cast<int32_t>(levels[level]));
    }
    return text;
}

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
        EXPECT_EQ(seen(state, connection), expected) << name;
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
    cycle("nothing attached", 100, {{SOC, 50}, {STAGE, 2}, {BATT_UV, 4000}, {LEVEL, 7}}, "[]");
    cycle("inserted; a type, the latch and AICL count from the next cycle on", 110,
          {{USB, 1}, {USB_UV, 5000}, {USB_TYPE, "PD_15_CHARACTER"}, {CARE, 1}, {AICL, 0x7}},
          "[] usb=1 soc_in=50 stage_in=2 batt_uv=4000 usb_uv=5000");
    cycle("connected, in other values", 170, {{SOC, 60}, {STAGE, 3}, {BATT_UV, 4100}, {USB_UV, 9000}, {LEVEL, 19}},
          "[PD_15_CHARACTER] usb=2 soc_in=50 stage_in=2 batt_uv=4100 usb_uv=9000 care=1 aicl=1 seconds=60 level7=60");
    cycle("lower voltages; the latch stays; a longer type", 180,
          {{CARE, 0}, {BATT_UV, 4099}, {USB_UV, 8999}, {USB_TYPE, "16_CHARACTERS_XY"}, {AICL, 0xB}, {LEVEL, 20}},
          "[16_CHARACTERS_X] usb=2 soc_in=50 stage_in=2 batt_uv=4100 usb_uv=9000 care=1 aicl=1 seconds=70 level7=60 "
          "level19=10");
    cycle("removed, which counts no AICL; level 20 is booked nowhere", 183,
          {{USB, 0}, {SOC, 61}, {STAGE, 4}, {BATT_UV, 4200}, {USB_UV, 9001}, {AICL, 4}, {USB_TYPE, ""}},
          "[16_CHARACTERS_X] usb=3 soc_in=50 stage_in=2 soc_out=61 stage_out=4 batt_uv=4200 usb_uv=9001 care=1 aicl=1 "
          "seconds=73 level7=60 level19=10");
    cycle("an insertion sets its own fields only", 200, {{USB, 1}, {SOC, 0}, {STAGE, 0}, {BATT_UV, 3}, {USB_UV, -5}},
          "[16_CHARACTERS_X] usb=1 soc_out=61 stage_out=4 batt_uv=3 usb_uv=-5 care=1 aicl=1 seconds=73 level7=60 "
          "level19=10");
    cycle("an unreadable type empties the text; AICL rises anew", 201, {},
          "[] usb=2 soc_out=61 stage_out=4 batt_uv=3 usb_uv=-5 care=1 aicl=2 seconds=74 level7=60 level19=10");
}

TEST(ChargerConnection, WirelessAloneTakesNoReferencesForTime) {
    History cycle;
    cycle("inserted", 100, {{WLS, 1}, {SOC, 50}, {STAGE, 2}, {BATT_UV, 4000}, {USB_UV, 9}, {WLS_TYPE, "EPP"}},
          "[] wls=1 soc_in=50 stage_in=2 batt_uv=4000");
    cycle("connected", 160, {{CARE, 1}, {BATT_UV, 4100}, {USB_TYPE, "PD"}, {AICL, 4}, {LEVEL, 30}},
          "[EPP] wls=2 soc_in=50 stage_in=2 batt_uv=4100 care=1");
    cycle("removed", 170, {{WLS, 0}, {SOC, 70}, {STAGE, 1}, {BATT_UV, 4101}},
          "[EPP] wls=3 soc_in=50 stage_in=2 soc_out=70 stage_out=1 batt_uv=4101 care=1");
}

TEST(ChargerConnection, BothSides) {
    History cycle;
    cycle("USB inserted", 100, {{USB, 1}, {USB_TYPE, "SDP"}, {WLS_TYPE, "BPP"}, {LEVEL, 3}}, "[] usb=1");
    cycle("wireless joins: the connection starts anew", 110, {{WLS, 1}, {SOC, 5}, {BATT_UV, 7}},
          "[SDP] wls=1 usb=2 soc_in=5 batt_uv=7 seconds=10 level3=10");
    cycle("both book; USB's type is last", 120, {}, "[SDP] wls=2 usb=2 soc_in=5 batt_uv=7 seconds=20 level3=30");
    cycle("wireless removed with USB: USB stands still", 130, {{WLS, 0}, {USB, 0}, {SOC, 6}},
          "[SDP] wls=3 usb=2 soc_in=5 soc_out=6 batt_uv=7 seconds=20 level3=40");
    cycle("seen now", 140, {{SOC, 8}}, "[SDP] usb=3 soc_in=5 soc_out=8 batt_uv=7 seconds=40 level3=60");
}

TEST(ChargerConnection, DaysAreCountedOneACycle) {
    History cycle;
    cycle("inserted; level -1 is booked nowhere", 1, {{USB, 1}, {LEVEL, -1}}, "[] usb=1");
    cycle("exactly a day", 86'401, {}, "[] usb=2 seconds=86400");
    cycle("a second more", 86'402, {}, "[] usb=2 seconds=86401 days=1");
    cycle("three days, at a removal", 345'603, {{USB, 0}}, "[BAD CONNECTION] usb=3 seconds=345602 days=2");
    cycle.connection = {};  // a report has cleared it
    cycle("the next insertion starts at zero", 500'000, {{USB, 1}}, "[] usb=1");
    cycle("a day and a second", 586'401, {}, "[] usb=2 seconds=86401 days=1");
    cycle("a clock that goes back takes away", 586'400, {}, "[] usb=2 seconds=86400 days=1");
    cycle("a clock at 0 books nothing", 0, {}, "[] usb=2 seconds=86400 days=1");
    cycle("nor is it a reference", 586'401, {}, "[] usb=2 seconds=86400 days=1");
    cycle.connection = {};  // a report has cleared it
    cycle("the old mark stands: a day more than it, exactly", 759'201, {}, "[] usb=2 seconds=172800 days=1");
    cycle("and a second", 759'202, {}, "[] usb=2 seconds=172801 days=2");
}

TEST(ChargerConnection, HeatEpisodes) {
    History cycle;
    cycle.state.usb_connector_heat_count = 253;
    cycle("hot, but no USB", 1, {{LEVEL, 30}}, "[] heats=253");
    cycle("hot at an insertion", 3, {{USB, 1}}, "[] usb=1 hot=1 heats=254 heat_at=1000003");
    cycle("the same episode", 4, {}, "[] usb=2 hot=1 seconds=1 heats=254 heat_at=1000003");
    cycle("beyond the highest", 5, {{LEVEL, 31}}, "[] usb=2 seconds=2 heats=254 heat_at=1000003");
    cycle("a second one", 6, {{LEVEL_MAX, 31}}, "[] usb=2 hot=1 seconds=3 heats=255 heat_at=1000006");
    cycle.connection = {};  // a report has cleared it
    cycle("a new one: its time is kept, the count full", 9, {}, "[] usb=2 hot=1 seconds=3 heats=255 heat_at=1000009");
}

TEST(ChargerConnection, StartLoadsTheHeatEpisodes) {
    const std::string time("\x15\xCD\x5B\x07\0\0\0\x80", 8);
    const auto loaded = [](const std::string& heat_count, const std::string& heat_time) {
        phone.units = {{UNIT_HEAT_COUNT, heat_count}, {UNIT_HEAT_TIME, heat_time}};
        ServiceState state{.usb_connector_heat_count = 9, .usb_connector_heat_time = 9};
        ChgInsertionRemovalData connection{.inserted_soc = 9, .usb_insertion_time = 9};
        init_chg_insertion_removal_data(state, connection);
        return seen(state, connection);
    };
    EXPECT_EQ(loaded("\xC8", time), "[] heats=200 heat_at=-9223372036731319019");
    EXPECT_EQ(loaded("", time.substr(0, 7)), "[]") << "too short";
    EXPECT_EQ(loaded("12", time + "1"), "[]") << "too long";
    phone.failing_reads = {UNIT_HEAT_TIME};
    EXPECT_EQ(loaded("\xC8", time), "[] heats=200");
}

TEST(UsbConnectorHeat, IsSavedDailyAndInPhase4) {
    const struct {
        const char* name;
        int64_t boot_time;
        int32_t phase;
        bool saved;
    } rows[] = {
        {"not a day since the last", 186'399, 5, false}, {"a day", 186'400, 3, true}, {"phase 4", 100'000, 4, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone = {.failing_writes = {UNIT_HEAT_COUNT, UNIT_HEAT_TIME}};
        ServiceState state{.cycle_boot_time = row.boot_time, .usb_connector_heat_count = 200};
        state.usb_connector_heat_time = 0x0123456789ABCDEF;
        state.last_heat_save_time = 100'000;
        save_usb_connector_heat_data_if_is_timing(state, snapshot_of({{PARAM_BOOTUP_SHUTDOWN_PHASE, row.phase}}));

        const std::vector<std::string> saves = {
            "write 2319", "log <3>cellwarden: Failed to save USB connector heat count", "write 2310",
            "log <3>cellwarden: Failed to save USB connector heat time"};
        EXPECT_EQ(phone.calls, row.saved ? saves : std::vector<std::string>{});
        EXPECT_EQ(state.last_heat_save_time, row.saved ? row.boot_time : 100'000);
    }
    EXPECT_EQ(phone.unit_writes[0].second, "\xC8");
    EXPECT_EQ(phone.unit_writes[1].second, "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
}

}  // namespace
}  // namespace cellwarden

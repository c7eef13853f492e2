#include "telemetry/usb_connector_heat.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

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

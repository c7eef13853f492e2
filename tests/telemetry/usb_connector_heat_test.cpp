#include "telemetry/usb_connector_heat.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(UsbConnectorHeat, IsSavedDailyAndInPhase4) {
    constexpr const char* COUNT_FAILED = "<3>cellwarden: Failed to save USB connector heat count";
    constexpr const char* TIME_FAILED = "<3>cellwarden: Failed to save USB connector heat time";
    const struct {
        const char* name;
        int64_t boot_time, last_save;
        int32_t phase;
        bool saved;
        std::set<uint32_t> failing;
        std::vector<std::string> log;
    } rows[] = {
        {"not a day yet", 86'399, 0, 3, false, {}, {}},
        {"a day", 86'400, 0, 0, true, {}, {}},
        {"not a day since the last", 186'399, 100'000, 5, false, {}, {}},
        {"phase 4", 100'000, 100'000, 4, true, {}, {}},
        {"phase 4 before the first second", 0, 0, 4, true, {}, {}},
        {"the count cannot be saved", 86'400, 0, 0, true, {UNIT_HEAT_COUNT}, {COUNT_FAILED}},
        {"the time cannot be saved", 86'400, 0, 0, true, {UNIT_HEAT_TIME}, {TIME_FAILED}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone = {};
        phone.failing_writes = row.failing;
        ServiceState state;
        state.cycle_boot_time = row.boot_time;
        state.last_heat_save_time = row.last_save;
        state.usb_connector_heat_count = 200;
        state.usb_connector_heat_time = 0x0123456789ABCDEF;
        save_usb_connector_heat_data_if_is_timing(state, snapshot_of({{PARAM_BOOTUP_SHUTDOWN_PHASE, row.phase}}));

        const std::vector<std::pair<uint32_t, std::string>> both = {{2319, "\xC8"},
                                                                    {2310, "\xEF\xCD\xAB\x89\x67\x45\x23\x01"}};
        EXPECT_EQ(phone.unit_writes, row.saved ? both : decltype(both){});
        EXPECT_EQ(state.last_heat_save_time, row.saved ? row.boot_time : row.last_save);
        EXPECT_EQ(phone.log, row.log);
    }
}

}  // namespace
}  // namespace cellwarden

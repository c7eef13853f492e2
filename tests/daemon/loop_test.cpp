// Start-up and the loop as a whole, on the real uevent socket.
#include "daemon/loop.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cerrno>

#include "support/kernel_uevents.h"
#include "support/namespaces.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(Loop, RunsAFullCycleForAnEventAndALightOneForAPeriod) {
    enter_network_namespace();
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        if (desc.path_is_generated == 0) {
            phone.attributes[desc.path] = "1\n";
        }
    }
    phone.properties["ro.product.vendor.model"] = "VM_cdb";
    write_attribute(PARAM_BATTERY_MODEL_NAME, "none\n");
    write_attribute(PARAM_BOOTUP_SHUTDOWN_PHASE, "4\n");
    write_attribute(PARAM_SYSTEM_TEMP_LEVEL_MAX, "2\n");
    phone.attributes["/sys/class/thermal/thermal_zone3/type"] = "sdm_therm\n";
    phone.attributes["/sys/class/thermal/thermal_zone3/temp"] = "31250\n";

    // Two events and two ends of the period; then the same many times, to check memory; then waiting fails.
    constexpr size_t WATCHED = 20;
    size_t waits = 0;
    Calls first_calls;
    struct mallinfo2 at_first {};
    struct mallinfo2 at_last {};
    phone.select = [&](int count, fd_set* readable, timeval* timeout) {
        const size_t wait = waits++;
        if (wait == 4) {
            first_calls = calls();
            phone.records_effects = false;
        } else if (wait == WATCHED) {
            at_first = mallinfo2();
        } else if (wait == 2 * WATCHED) {
            at_last = mallinfo2();
            *timeout = {};
            errno = ENOMEM;
            return -1;
        }
        if (wait % 4 < 2) {
            broadcast_through_kernel(uevent_of("battery"));
            return select(count, readable, nullptr, nullptr, timeout);
        }
        *timeout = {};
        FD_ZERO(readable);
        return 0;
    };
    run_daemon(device);

    const std::string lock = "log <3>cellwarden: Unable to open: '/sys/power/wake_lock'";
    const std::string unlock = "log <3>cellwarden: Unable to open: '/sys/power/wake_unlock'";
    EXPECT_EQ(first_calls,
              (Calls{"read unit 2491 failed", "read unit 2319 failed", "read unit 2310 failed", "read unit 2227 failed",
                     "read unit 66677 failed", "read unit 2312 failed",
                     // Two full cycles at shutdown. A charger is connected, but this model reports nothing.
                     lock, "write unit 2491", "write unit 2319", "write unit 2310", unlock,  //
                     lock, "write unit 2491", "write unit 2319", "write unit 2310", unlock,
                     // Two light cycles; the second has no new temperature.
                     lock, "write battchg_ext/sdm_therm = 312", unlock, lock, unlock}));
    EXPECT_EQ(phone.sleeps, std::vector<unsigned>{1}) << "the driver was ready at once";
    EXPECT_EQ(at_last.uordblks, at_first.uordblks) << "bytes of the heap in use after " << WATCHED << " more cycles";
}

}  // namespace
}  // namespace cellwarden

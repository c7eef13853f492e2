#include "telemetry/send_event.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/phone.h"
#include "support/process.h"
#include "telemetry/charging.pb-c.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr EventKind KIND = {.name = "Name", .library_missing_text = "100 % missing", .sent_text = "100 % sent"};

int fills;

// Fills the message that it is handed, with a version that is 0 where nothing is to be sent.
const ProtobufCMessage* fill(void* opaque) {
    auto& message = *static_cast<Charging__ChargerInsertionRemoval*>(opaque);
    fills++;
    message.has_version = message.version == 0 ? 0 : 1;
    return &message.base;
}

TEST(SendEvent, EveryOutcome) {
    struct Row {
        const char* name;
        FakePhone given;
        bool done;
        const char* log;
        int fills = 1;
        size_t blocks = 1, events = 0;
        uint32_t version = 300;
        bool heap_is_empty = false;
    };
    const Row rows[] = {
        {"no library", {.ondra_missing = true}, false, "100 % missing", 0, 0},
        {"not active", {.ondra_active = 0}, false, "<3>cellwarden: ondra_is_active: 0\n", 0, 0},
        {"no bytes", {}, true, "<3>cellwarden: ONDRA log Could not serialize message data\n", 1, 0, 0, 0},
        {"no memory", {}, true, "<3>cellwarden: malloc failed\n", 1, 1, 0, 300, true},
        {"refused", {.ondra_refuses = true}, true, "100 % sent"},
        {"sent", {.ondra_active = 2}, true, "100 % sent", 1, 1, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        phone = row.given;
        heap_blocks.clear();
        heap_is_empty = row.heap_is_empty;
        fills = 0;
        Charging__ChargerInsertionRemoval message = CHARGING__CHARGER_INSERTION_REMOVAL__INIT;
        message.version = row.version;
        EXPECT_EQ(send_event(KIND, fill, &message), SendResult{row.done});
        heap_is_empty = false;
        EXPECT_EQ(phone.log, std::vector<std::string>{row.log});
        EXPECT_EQ(fills, row.fills);
        EXPECT_EQ(heap_blocks, std::vector<size_t>(row.blocks, 3));
        EXPECT_EQ(phone.open_handles, 0);
        EXPECT_EQ(phone.events.size(), row.events);
    }
    EXPECT_EQ(phone.events.back().category + phone.events.back().name, "chargingName");
    EXPECT_EQ(phone.events.back().data, "\x08\xAC\x02");
}

TEST(Reporting, NeedsAReportingModelAndAClock) {
    const auto allowed = [](const char* model, int64_t wall_time) {
        ServiceState state{.cycle_wall_time = wall_time};
        strcpy(state.vendor_model, model);
        return reporting_is_allowed(state);
    };
    EXPECT_TRUE(allowed("", 1'483'228'800));
    EXPECT_FALSE(allowed("", 1'483'228'799));
    EXPECT_TRUE(allowed("A_cd-cdb", 1'483'228'800));
    EXPECT_FALSE(allowed("A_cd_cdbB", INT64_MAX));
}

}  // namespace
}  // namespace cellwarden

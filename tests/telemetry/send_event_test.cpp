#include "telemetry/send_event.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/phone.h"
#include "telemetry/charging.pb-c.h"
#include "telemetry/heap.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr EventKind KIND = {.name = "Name", .library_missing_text = "100 % missing", .sent_text = "100 % sent"};

struct Report {
    bool empty;
    int fills;
    Charging__ChargerInsertionRemoval message;
};

const ProtobufCMessage* fill(void* opaque) {
    auto& report = *static_cast<Report*>(opaque);
    report.fills++;
    charging__charger_insertion_removal__init(&report.message);
    report.message.has_version = report.empty ? 0 : 1;
    report.message.version = 300;
    return &report.message.base;
}

TEST(SendEvent, EveryOutcome) {
    struct Row {
        const char* name;
        bool library_missing;
        int active;
        bool refused, message_empty, heap_empty;
        SendResult result;
        std::string log;
        int fills = 1;
        size_t blocks = 0, events = 0;
    };
    constexpr SendResult DONE = SendResult::DONE;
    constexpr SendResult NOT_DONE = SendResult::NOT_DONE;
    const Row rows[] = {
        {"no library", true, 1, false, false, false, NOT_DONE, "100 % missing", 0},
        {"not active", false, 0, false, false, false, NOT_DONE, "<3>cellwarden: ondra_is_active: 0\n", 0},
        {"no bytes", false, 1, false, true, false, DONE, "<3>cellwarden: ONDRA log Could not serialize message data\n"},
        {"no memory", false, 1, false, false, true, DONE, "<3>cellwarden: malloc failed\n", 1, 1},
        {"refused", false, 1, true, false, false, DONE, "100 % sent", 1, 1},
        {"sent", false, 2, false, false, false, DONE, "100 % sent", 1, 1, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        phone = {};
        phone.ondra_missing = row.library_missing;
        phone.ondra_active = row.active;
        phone.ondra_refuses = row.refused;
        heap_blocks.clear();
        heap_is_empty = row.heap_empty;
        Report report{.empty = row.message_empty, .fills = 0, .message = {}};
        const SendResult result = send_event(KIND, fill, &report);
        heap_is_empty = false;

        EXPECT_EQ(result, row.result);
        EXPECT_EQ(phone.log, std::vector<std::string>{row.log});
        EXPECT_EQ(report.fills, row.fills);
        EXPECT_EQ(heap_blocks, std::vector<size_t>(row.blocks, 3));
        EXPECT_EQ(phone.open_handles, 0);
        ASSERT_EQ(phone.events.size(), row.events);
        for (const FakeEvent& event : phone.events) {
            EXPECT_EQ(event.category, "charging");
            EXPECT_EQ(event.name, "Name");
            EXPECT_EQ(event.data, "\x08\xAC\x02");
        }
    }
}

TEST(Reporting, NeedsAReportingModelAndAClock) {
    const struct {
        const char* model;
        int64_t wall_time;
        bool allowed;
    } rows[] = {
        {"", 1'483'228'800, true},    {"", 1'483'228'799, false},          {"_cdb", INT64_MAX, false},
        {"cdb", 1'483'228'800, true}, {"A_cd_cdbB", 1'483'228'800, false},
    };
    for (const auto& row : rows) {
        ServiceState state;
        (void)snprintf(state.vendor_model, sizeof state.vendor_model, "%s", row.model);
        state.cycle_wall_time = row.wall_time;
        EXPECT_EQ(reporting_is_allowed(state), row.allowed) << row.model << " " << row.wall_time;
    }
}

}  // namespace
}  // namespace cellwarden

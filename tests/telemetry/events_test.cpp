// The two events as their readers see them: decoded by protoc, which shares no code with the daemon. Then the sending
// of any event.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/phone.h"
#include "support/rows.h"
#include "support/sysfs.h"
#include "telemetry/charging.pb-c.h"
#include "telemetry/reports.h"
#include "telemetry/send_event.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL_CLOCK_SET = 1'483'228'800;

// The fields that an event carries, by name (a field that the schema does not know stands under its number), each with
// its values in protoc's text form, in order.
using Fields = std::map<std::string, std::vector<std::string>>;

// Category and name of the events that were not refused.
Calls events_sent() {
    Calls names;
    for (const Effect& event : effects_of(Effect::Kind::EVENT)) {
        if (!event.failed) {
            names.push_back(event.category + " " + event.name);
        }
    }
    return names;
}

// The fields of the one event that the phone has got, which protoc encodes to the same bytes.
Fields decoded(const std::string& name) {
    EXPECT_EQ(events_sent(), Calls{"charging " + name});
    write_file("/sys/event", effects_of(Effect::Kind::EVENT).back().bytes);
    clear_calls();
    const std::string code = "code=charging." + name + " --proto_path=" PROTO_FOLDER " " PROTO_FOLDER "/charging.proto";
    const CommandResult result =
        run_command("cd /sys && " PROTOC " --de" + code + " < event > text && " PROTOC " --en" + code +
                    " < text > again && cmp event again");
    EXPECT_EQ(result.exit_code, 0) << result.output;
    Fields fields;
    std::istringstream text(read_file("/sys/text"));
    for (std::string line; std::getline(text, line);) {
        const size_t colon = line.find(": ");
        fields[line.substr(0, colon)].push_back(line.substr(colon + 2));
    }
    return fields;
}

Fields expected_fields(const std::string& record) {
    Fields fields;
    for (const Row& row : values_of(RECORD_FIELDS)) {
        const std::string &field = row.at(0), &type = row.at(1);
        const size_t offset = std::stoul(row.at(2), nullptr, 16), count = std::stoul(row.at(3));
        const size_t size = type.ends_with("64") ? 8 : type.ends_with("32") ? 4 : type.ends_with("16") ? 2 : 1;
        const size_t stride = field.starts_with("dev_") ? 16 : size;
        for (size_t i = 0; i < count; i++) {
            uint64_t raw = 0;
            memcpy(&raw, &record[offset + i * stride], size);
            fields[field].push_back(type == "i16"                      ? std::to_string(static_cast<int16_t>(raw))
                                    : type == "negated_u16"            ? std::to_string(-static_cast<int>(raw))
                                    : type == "level_u8" && raw == 255 ? "4294967295"
                                                                       : std::to_string(raw));
        }
    }
    return fields;
}

TEST(BattDegradation2, CarriesTheRecordFieldByField) {
    std::mt19937 random(1);
    std::string random_record(sizeof(BattStat), '\0');  // every element another value
    std::generate(random_record.begin(), random_record.end(), [&] { return static_cast<char>(random()); });
    const struct {
        std::string record, version, name, shown_version, shown_name;
        uint8_t heat_count;
    } rows[] = {
        {std::string(sizeof(BattStat), '\xFF'), "\xFE\xFF\1\xFF", "SIXTEEN-LETTERS!", "\"255.1.255\"",
         "\"SIXTEEN-LETTERS!\"", 255},
        {random_record, std::string("\0\1\2\3", 4), "AB\xFE\1" + std::string(12, '\0'), "\"1.2.3\"", "\"AB\\376\\001\"",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string record = row.version + row.record.substr(4, 12) + row.name + row.record.substr(32);
        BattStat stat;
        memcpy(&stat, record.data(), sizeof stat);
        ServiceState state{.clock = {.cycle_wall_time = WALL_CLOCK_SET},
                           .batt_degr2_report = {.last_reported_period = -2}};
        state.heat.usb_connector_heat_count = row.heat_count;
        state.heat.usb_connector_heat_time = -1;
        send_ondra_batt_degr2_if_is_timing(device, state, stat);

        Fields expected = expected_fields(record);
        expected["version"] = {row.shown_version};
        expected["battery_model_name"] = {row.shown_name};
        expected["usb_connector_heat_count"] = {std::to_string(row.heat_count)};
        expected["usb_connector_heat_time"] = {"18446744073709551615"};
        const Fields fields = decoded("BatteryDegradation2");
        for (const auto& [field, values] : expected) {
            EXPECT_EQ(fields.contains(field) ? fields.at(field) : Fields::mapped_type{}, values) << field;
        }
        EXPECT_EQ(fields.size(), expected.size()) << "fields that must never be sent";
    }
}

// A removed connection, in the record's order, with another value in every field; some of them are never sent.
ChgInsertionRemovalData removed_connection() {
    std::array<uint32_t, THERMAL_LEVEL_COUNT> levels{};
    std::iota(levels.begin(), levels.end(), UINT32_MAX - 19);
    ChgInsertionRemovalData connection{1,  1,  "", 11,     12, 13, 14, 9000, -1, UINT32_MAX,
                                       17, 18, 19, levels, 20, 3,  0,  22,   1};
    strcpy(connection.charger_type, "FIFTEEN-LETTERS");
    return connection;
}

TEST(ChargerInsertionRemoval, CarriesTheConnectionFieldByField) {
    ServiceState state{.clock = {.cycle_wall_time = WALL_CLOCK_SET}, .connection = {.usb_long_insertion_counter = 31}};
    state.ageing.total_cycle_degradation = extended{2} / 3;
    state.ageing.total_full_stay_cap_degradation = extended{1} / 7;
    state.health.latest_user_soh = 99'999;
    state.health.latest_predicted_soh = 88'888;
    state.health.latest_raw_soh = -1;
    state.health.latest_filtered_soh = INT32_MAX;
    std::istringstream pairs(R"(
        version 2  charger_type "FIFTEEN-LETTERS"  usb_insertion_time 20  usb_long_insertion_counter 31
        pdo_raw_list ""  inserted_soc 11  removal_soc 12  inserted_sc_stage 13  removal_sc_stage 14
        battery_care_flg true  moment_max_usbin_voltage 9000  moment_max_vbatt 4294967295
        icl_min_counter 4294967295  wlc_epp_txid 17  usb_connector_heat_flg 1  total_cycle_degradation 666666
        total_full_stay_cap_degradation 142857  latest_user_soh 99999  latest_predicted_soh 88888
        latest_raw_soh 4294967295  latest_filtered_soh 2147483647)");
    Fields expected;
    for (std::string field, value; pairs >> field >> value;) {
        expected[field] = {value};
    }
    for (uint32_t left = 20; left > 0; left--) {
        expected["thermal_level_time"].push_back(std::to_string(UINT32_MAX - (left - 1)));
    }
    ChgInsertionRemovalData connection = removed_connection();
    send_ondra_chg_insertion_removal_if_is_timing(device, state, connection, snapshot_of({}));
    EXPECT_EQ(decoded("ChargerInsertionRemoval"), expected);
}

// --- Sending any event

constexpr EventKind KIND = {.name = "Name", .library_missing_text = "100 % missing", .sent_text = "100 % sent"};

TEST(SendEvent, EveryOutcome) {
    struct Row {
        const char* name;
        StandIn given;
        bool done;
        const char* log;
        size_t blocks = 1, events = 0;
        uint32_t version = 300;
    };
    const Row rows[] = {
        {"no library", {.ondra_missing = true}, false, "100 % missing", 0},
        {"not active", {.ondra_active = 0}, false, "<3>cellwarden: ondra_is_active: 0\n", 0},
        {"no bytes", {}, true, "<3>cellwarden: ONDRA log Could not serialize message data\n", 0, 0, 0},
        {"no memory", {.heap_is_empty = true}, true, "<3>cellwarden: malloc failed\n"},
        {"refused", {.ondra_refuses = true}, true, "100 % sent"},
        {"sent", {.ondra_active = 2}, true, "100 % sent", 1, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        phone = row.given;
        Charging__ChargerInsertionRemoval message = CHARGING__CHARGER_INSERTION_REMOVAL__INIT;
        message.has_version = row.version == 0 ? 0 : 1;
        message.version = row.version;
        EXPECT_EQ(send_event(device, KIND, message.base), SendResult{row.done});
        EXPECT_EQ(logs(), Calls{row.log});
        EXPECT_EQ(phone.heap_blocks, std::vector<size_t>(row.blocks, 3));
        EXPECT_EQ(phone.open_handles, 0);
        EXPECT_EQ(events_sent(), Calls(row.events, "charging Name"));
    }
    EXPECT_EQ(effects_of(Effect::Kind::EVENT).back().bytes, "\x08\xAC\x02");
}

}  // namespace
}  // namespace cellwarden

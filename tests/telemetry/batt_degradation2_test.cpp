#include "telemetry/batt_degradation2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/phone.h"
#include "telemetry/decoded.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL_CLOCK_SET = 1'483'228'800;
constexpr uint32_t TEN_DAYS = 864'000;
constexpr size_t NAME_OFFSET = 0x0010;

using RecordBytes = std::array<char, sizeof(BattStat)>;

enum Source { U8, U16, U32, U64, I16, NEGATED_U16, LEVEL_U8 };

// From which bytes of the stored record a field is to be taken. Offsets, not the record's fields:
// so it does not depend on the names that the code matches.
struct Mapping {
    const char* field;
    Source source;
    size_t offset;
    size_t count = 1;
    size_t stride = 0;  // 0: the elements' own size
};

constexpr Mapping MAPPINGS[] = {
    {"initialize", U8, 0x0000},
    {"fcc_mah", U16, 0x0004, 5},
    {"initialized_time", U64, 0x0020},
    {"last_learning_time", U64, 0x0030},
    {"first_soh_time", U64, 0x0040, 9},
    {"soft_charge_mode", U32, 0x0090},
    {"total_cycle_count", U32, 0x0098},
    {"soft_charge1_onlinetime", U64, 0x00A0, 5},
    {"soft_charge5_onlinetime", U64, 0x00C8, 5},
    {"vt_cet_table", U32, 0x0100, 672},
    {"ct_charge_table", U32, 0x0B80, 160},
    {"off_charge_total_time", U64, 0x0E20},
    {"on_charge_total_time", U64, 0x0E28},
    {"soc_full_total_time", U64, 0x0E30},
    {"smart_charge_mode_total_time", U64, 0x0E38},
    {"jeita_warm_total_time", U32, 0x0E50},
    {"dev_attach_count", U32, 0x0F00, 16, 16},
    {"dev_attach_total_time", U32, 0x0F04, 16, 16},
    {"dev_charge_count", U32, 0x0F08, 16, 16},
    {"soc0_shutdown_cnt", U32, 0x0E10},
    {"thermal_range_stay_time", U32, 0x0E70, 4},
    {"over_08c_total_time", U32, 0x0E80},
    {"over_08c_charge_count", U32, 0x0E84},
    {"over_06c_total_time", U32, 0x0E88},
    {"over_06c_charge_count", U32, 0x0E8C},
    {"max_discharge_current", NEGATED_U16, 0x0E90},
    {"online_time", U32, 0x0028},
    {"total_arrhenius", U32, 0x1000},
    {"arrhenius_per_10days", U32, 0x1010, 252},
    {"max_dischg_cur_3500mv_10c", NEGATED_U16, 0x0E92},
    {"max_dischg_cur_3500mv_5c", NEGATED_U16, 0x0E94},
    {"max_dischg_cur_3500mv_0c", NEGATED_U16, 0x0E96},
    {"max_discharge_time", U32, 0x0EA0, 4},
    {"max_temp", I16, 0x0E9C},
    {"max_temp_time", U32, 0x0EB8},
    {"min_temp", I16, 0x0E9E},
    {"min_temp_time", U32, 0x0EBC},
    {"max_cell_voltage", U16, 0x0EEA},
    {"max_cell_voltage_time", U32, 0x0EEC},
    {"total_discharge_time", U32, 0x0EC0, 8},
    {"arrhenius_lv", LEVEL_U8, 0x1400, 252},
    {"full_stay_capacity_degradation_per_10days", U32, 0x1510, 252},
    {"full_stay_capacity_degradation_aging_lv", LEVEL_U8, 0x1900, 252},
    {"total_cycle_degradation", U32, 0x1A00},
    {"cycle_degradation_per_10days", U32, 0x1A10, 252},
    {"total_full_stay_cap_degradation", U32, 0x1500},
    {"latest_user_soh", U16, 0x0038},
    {"user_soh_per_10days", U16, 0x1E00, 252},
    {"latest_predicted_soh", U16, 0x003E},
    {"predicted_soh_per_10days", U16, 0x2400, 252},
    {"latest_raw_soh", U16, 0x003A},
    {"raw_soh_per_10days", U16, 0x2000, 252},
    {"latest_filtered_soh", U16, 0x003C},
    {"filtered_soh_per_10days", U16, 0x2200, 252},
};

size_t size_of(Source source) {
    return source == U64 ? 8 : source == U32 ? 4 : source == U8 || source == LEVEL_U8 ? 1 : 2;
}

std::string value_text(const RecordBytes& record, Source source, size_t offset) {
    uint64_t raw = 0;
    memcpy(&raw, &record[offset], size_of(source));
    switch (source) {
        case I16:
            return std::to_string(static_cast<int16_t>(raw));
        case NEGATED_U16:
            return std::to_string(-static_cast<int>(raw));
        case LEVEL_U8:
            return raw == 255 ? "4294967295" : std::to_string(raw);
        default:
            return std::to_string(raw);
    }
}

Fields expected_fields(const RecordBytes& record) {
    Fields fields;
    for (const Mapping& mapping : MAPPINGS) {
        const size_t stride = mapping.stride != 0 ? mapping.stride : size_of(mapping.source);
        for (size_t i = 0; i < mapping.count; i++) {
            fields[mapping.field].push_back(value_text(record, mapping.source, mapping.offset + i * stride));
        }
    }
    return fields;
}

ServiceState due_state() {
    ServiceState state;
    state.cycle_wall_time = WALL_CLOCK_SET;
    state.batt_degr2_report.last_reported_period = -2;
    return state;
}

BattStat stat_with_online_time(uint32_t online_time) {
    BattStat stat{};
    stat.online_time = online_time;
    return stat;
}

std::vector<RecordBytes> records() {
    std::vector<RecordBytes> all(5);
    all[0].fill('\xFF');
    all[1].fill('\0');
    all[2].fill('\xFE');  // levels: no empty entry yet
    for (size_t i = 1; i < sizeof(BattStat); i += 2) {
        all[3][i] = '\x80';  // i16 at its lowest
    }
    std::mt19937 random(1);  // every element another value
    std::generate(all[4].begin(), all[4].end(), [&] { return static_cast<char>(random()); });
    return all;
}

TEST(BattDegradation2, CarriesTheRecordFieldByField) {
    const struct {
        std::string name;  // 16 bytes of the record, and as protoc shows them
        std::string shown;
        uint8_t heat_count;
        int64_t heat_time;
    } rows[] = {
        {std::string(16, '\xFF'), "", 255, INT64_MAX},  // shown: see below
        {std::string(16, '\0'), "\"\"", 0, 0},
        {"FIFTEEN-LETTERS" + std::string(1, '\0'), "\"FIFTEEN-LETTERS\"", 254, 1'700'000'000},
        {"SIXTEEN-LETTERS!", "\"SIXTEEN-LETTERS!\"", 1, -1},
        {"AB" + std::string(1, '\0') + "garbage behind", "\"AB\"", 2, 1},
    };
    std::vector<RecordBytes> contents = records();
    for (size_t i = 0; i < contents.size(); i++) {
        SCOPED_TRACE("record " + std::to_string(i));
        memcpy(&contents[i][NAME_OFFSET], rows[i].name.data(), 16);
        Fields expected = expected_fields(contents[i]);
        const auto* bytes = reinterpret_cast<const uint8_t*>(contents[i].data());
        expected["version"] = {"\"" + std::to_string(bytes[1]) + "." + std::to_string(bytes[2]) + "." +
                               std::to_string(bytes[3]) + "\""};
        std::string all_ones = "\"";
        for (int octet = 0; octet < 16; octet++) {
            all_ones += "\\377";
        }
        expected["battery_model_name"] = {i == 0 ? all_ones + "\"" : rows[i].shown};
        expected["usb_connector_heat_count"] = {std::to_string(rows[i].heat_count)};
        expected["usb_connector_heat_time"] = {std::to_string(static_cast<uint64_t>(rows[i].heat_time))};

        BattStat stat;
        memcpy(&stat, contents[i].data(), sizeof stat);
        ServiceState state = due_state();
        state.usb_connector_heat_count = rows[i].heat_count;
        state.usb_connector_heat_time = rows[i].heat_time;
        phone.events.clear();
        send_ondra_batt_degr2_if_is_timing(state, stat);

        ASSERT_EQ(phone.events.size(), 1U);
        EXPECT_EQ(phone.events[0].name, "BatteryDegradation2");
        const Fields fields = decoded("BatteryDegradation2", phone.events[0].data);
        for (const auto& [field, values] : expected) {
            EXPECT_EQ(fields.contains(field) ? fields.at(field) : Fields::mapped_type{}, values) << field;
        }
        EXPECT_EQ(fields.size(), expected.size()) << "fields that must never be sent";
        EXPECT_EQ(memcmp(&stat, contents[i].data(), sizeof stat), 0) << "the record was changed";
    }
}

TEST(BattDegradation2, IsSentOncePerTenDayMark) {
    struct Step {
        const char* name;
        uint32_t online_time;
        bool sent;
        int64_t wall_time = WALL_CLOCK_SET;
        const char* model = "AB-01";
        bool library_missing = false;
    };
    const std::vector<std::vector<Step>> histories = {
        {
            {"the first evaluation only takes the period", 863'999, false},
            {"the next mark", 864'000, true},
            {"no further one", 1'727'999, false},
            {"several marks at once", 5 * TEN_DAYS, true},
            {"no one is made up for", 5 * TEN_DAYS + 1, false},
            {"going down", 0, false},
            {"rising again", TEN_DAYS, true},
            {"no clock: the mark is not consumed", 2 * TEN_DAYS, false, WALL_CLOCK_SET - 1},
            {"the clock is set", 2 * TEN_DAYS, true},
            {"no reporting model: not consumed", 3 * TEN_DAYS, false, WALL_CLOCK_SET, "AB_cdb"},
            {"a reporting model", 3 * TEN_DAYS, true},
            {"no library: consumed", 4 * TEN_DAYS, false, WALL_CLOCK_SET, "AB-01", true},
            {"the library is back", 4 * TEN_DAYS, false},
            {"unsigned to its end", UINT32_MAX, true},
        },
        {
            {"no clock: not even the first period is taken", 0, false, 0},
            {"the first with a clock", 5 * TEN_DAYS, false},
            {"the next mark", 6 * TEN_DAYS, true},
        },
    };
    for (const auto& history : histories) {
        ServiceState state;
        for (const Step& step : history) {
            SCOPED_TRACE(step.name);
            phone.events.clear();
            phone.log.clear();
            phone.ondra_missing = step.library_missing;
            state.cycle_wall_time = step.wall_time;
            (void)snprintf(state.vendor_model, sizeof state.vendor_model, "%s", step.model);
            send_ondra_batt_degr2_if_is_timing(state, stat_with_online_time(step.online_time));
            EXPECT_EQ(phone.events.size(), step.sent ? 1U : 0U);
            const char* text = step.sent              ? "<3>cellwarden: Sending ondra event for BatteryDegradation2\n"
                               : step.library_missing ? "<3>cellwarden: ONDRA_T for BatteryDegradation is NULL\n"
                                                      : nullptr;
            EXPECT_EQ(phone.log, std::vector<std::string>(text != nullptr ? 1 : 0, text != nullptr ? text : ""));
        }
    }
}

}  // namespace
}  // namespace cellwarden

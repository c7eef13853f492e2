// Names, units and faults, below the programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "telemetry/charging.pb-c.h"
#include "tools/decode/event.h"
#include "tools/decode/labels.h"
#include "tools/decode/record_layout.h"

namespace {

using namespace cellwarden;
using namespace cellwarden::decode;

// Every byte of the record differs from its neighbours, so a wrong offset, width or stride shows.
BattStat striped_record() {
    BattStat stat;
    auto* const bytes = reinterpret_cast<uint8_t*>(&stat);
    for (size_t i = 0; i < sizeof stat; i++) {
        bytes[i] = static_cast<uint8_t>(i * 37 + i / 256);
    }
    return stat;
}

TEST(RecordLayout, values_are_those_of_the_members) {
    const BattStat stat = striped_record();
    const struct {
        const char* name;
        size_t index;
        int64_t expected;
    } rows[] = {
        {"initialize", 0, stat.initialize},
        {"fcc_mah", 4, stat.fcc_mah[4]},
        {"initialized_time", 0, static_cast<int64_t>(stat.initialized_time)},
        {"first_soh_time", 8, static_cast<int64_t>(stat.first_soh_time[8])},
        {"max_temp", 0, stat.max_temp},
        {"ct_charge_table", 159, stat.ct_charge_table[159]},
        {"arrhenius_lv", 251, stat.arrhenius_lv[251]},
        {"dev_attach_count", 15, stat.dev_attach[15].dev_attach_count},
        {"dev_attach_total_time", 0, stat.dev_attach[0].dev_attach_total_time},
        {"dev_charge_count", 7, stat.dev_attach[7].dev_charge_count},
        {"predicted_soh_per_10days", 251, stat.predicted_soh_per_10days[251]},
    };
    for (const auto& row : rows) {
        const RecordField* const field = find_record_field(row.name);
        ASSERT_NE(field, nullptr) << row.name;
        EXPECT_EQ(stored_value(stat, *field, row.index), row.expected) << row.name;
    }
}

TEST(RecordLayout, fields_and_reserved_bytes_make_up_the_record) {
    const auto& fields = record_fields();
    const auto& reserved = reserved_bytes();
    const size_t named = std::accumulate(fields.begin(), fields.end(), size_t{0},
                                         [](size_t sum, const auto& f) { return sum + f.count * f.element_size; });
    const size_t unnamed = std::accumulate(reserved.begin(), reserved.end(), size_t{0},
                                           [](size_t sum, const auto& r) { return sum + r.size; });
    EXPECT_EQ(named + unnamed, sizeof(BattStat));
    EXPECT_EQ(place_of(0x0F14), "dev_attach_total_time[1]");
    EXPECT_EQ(place_of(0x002C), "reserved bytes");
}

TEST(Labels, follow_the_tables_of_the_rules) {
    const struct {
        const char* field;
        size_t index;
        const char* expected;
    } rows[] = {
        {"first_soh_time", 0, "below 95 %"},
        {"vt_cet_table", 0, "above 4.54 V, above 60 degC"},
        {"vt_cet_table", 671, "up to 3.00 V, up to -10 degC"},
        {"ct_charge_table", 16, "80 to 90 %, above 60 degC"},
        {"max_discharge_time", 3, "below 0 degC, below 3.5 V"},
        {"total_discharge_time", 7, "over 2 A, below 0 degC, below 3.8 V"},
        {"thermal_range_stay_time", 1, "thermal levels 1 to 12"},
        {"dev_attach_count", 4, "class 4, type 7, 8, 9"},
        {"dev_attach_count", 8, "class 8, type 15, 16, up to 30 W"},
        {"dev_attach_count", 11, "class 11, type 15, 16, over 65 W"},
        {"dev_attach_count", 12, "class 12, not assigned"},
        {"user_soh_per_10days", 12, "10 days from day 120"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(element_label(row.field, row.index), row.expected) << row.field;
    }
}

TEST(Reading, is_in_units_people_use) {
    const struct {
        FieldUnit unit;
        int64_t stored;
        const char* text;
        const char* json;
    } rows[] = {
        {FieldUnit::HALF_SOH, 49251, "98.502 %", "98.502"},
        {FieldUnit::MILLI_SOH, 98501, "98.501 %", "98.501"},
        {FieldUnit::MICROPERCENT, 15625, "0.015625 %", "0.015625"},
        {FieldUnit::SOC, 12345678, "1234.5678 full charges", "1234.5678"},
        {FieldUnit::DECIC, -55, "-5.5 degC", "-5.5"},
        {FieldUnit::DECIC, INT16_MIN, "none yet", "null"},
        {FieldUnit::WALL_S, 1767225600, "2026-01-01 00:00:00 UTC", "\"2026-01-01T00:00:00Z\""},
        {FieldUnit::WALL_S, 0, "not yet", "null"},
        {FieldUnit::SECONDS, 86400 + 3661, "1 d 01:01:01", "90061"},
        {FieldUnit::LEVEL, 255, "not decided", "null"},
        {FieldUnit::LEVEL, UINT32_MAX, "not decided", "null"},
        {FieldUnit::CODE, 0xE7, "0xE7, soft charge is suspended", "231"},
        {FieldUnit::CODE, 0xD2, "0xD2, the driver is given level 2", "210"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(reading_text(row.unit, row.stored), row.text);
        EXPECT_EQ(reading_json(row.unit, row.stored).dump(), row.json) << row.text;
    }
}

// A charger event with a value of its own in every scalar field.
std::string packed_charger_event() {
    uint32_t levels[] = {11, 0, 13};
    char type[] = "PD";
    char empty[] = "";
    Charging__ChargerInsertionRemoval message = CHARGING__CHARGER_INSERTION_REMOVAL__INIT;
    message.has_version = 1;
    message.version = 2;
    message.charger_type = type;
    message.pdo_raw_list = empty;
    message.n_thermal_level_time = std::size(levels);
    message.thermal_level_time = levels;
    message.has_battery_care_flg = 1;
    message.battery_care_flg = 1;
    message.has_latest_user_soh = 1;
    message.latest_user_soh = 98501;
    std::string bytes(charging__charger_insertion_removal__get_packed_size(&message), '\0');
    charging__charger_insertion_removal__pack(&message, reinterpret_cast<uint8_t*>(bytes.data()));
    return bytes;
}

std::span<const uint8_t> span_of(const std::string& bytes) {
    return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}

TEST(Event, charger_event_by_name) {
    const std::string bytes = packed_charger_event();
    const Event event = decode_event(span_of(bytes));  // its fields tell which event it is
    EXPECT_EQ(event.name, "ChargerInsertionRemoval");
    std::string all;
    for (const EventField& field : event.fields) {
        all += std::string(field.name) + "=" + sent_json(field).dump() + "/" + value_text(field, 0) + " ";
    }
    EXPECT_EQ(all,
              "version=2/2 charger_type=\"PD\"/\"PD\" pdo_raw_list=\"\"/\"\" "
              "thermal_level_time=[11,0,13]/0 d 00:00:11 battery_care_flg=true/yes "
              "latest_user_soh=98501/98.501 % ");
    EXPECT_EQ(event.fields.size() + event.absent.size(), charging__charger_insertion_removal__descriptor.n_fields);
}

TEST(Event, negative_and_undecided_values_of_the_ageing_event) {
    uint32_t levels[] = {UINT32_MAX, 3};
    Charging__BatteryDegradation2 message = CHARGING__BATTERY_DEGRADATION2__INIT;
    message.has_max_discharge_current = 1;
    message.max_discharge_current = -3000;
    message.n_arrhenius_lv = std::size(levels);
    message.arrhenius_lv = levels;
    std::string bytes(charging__battery_degradation2__get_packed_size(&message), '\0');
    charging__battery_degradation2__pack(&message, reinterpret_cast<uint8_t*>(bytes.data()));
    const Event event = decode_event(span_of(bytes), "BatteryDegradation2");
    ASSERT_EQ(event.fields.size(), 2U);
    EXPECT_EQ(value_text(event.fields[0], 0), "-3000 mA");
    EXPECT_EQ(value_text(event.fields[1], 0), "not decided");
    EXPECT_EQ(sent_json(event.fields[1]).dump(), "[4294967295,3]");
}

TEST(Event, faults_tell_offset_and_reason) {
    const std::string good = packed_charger_event();
    const struct {
        const char* name;
        std::string bytes;
        const char* fault;
    } rows[] = {
        {"empty", "", "is empty"},
        {"cut in the last value", good.substr(0, good.size() - 1), "the value of field latest_user_soh is cut"},
        {"text longer than the rest", std::string("\x08\x02\x12\x7fPD", 6),
         "offset 0x0003: field charger_type is 127 bytes long, and 2 are left"},
        {"unknown field", good + std::string("\xb8\x3e\x01", 3), "there is no field 999"},
        {"text where a number is due", std::string("\x08\x02\x1a\x01\x41", 5),
         "offset 0x0002: field usb_insertion_time has encoding 2, it wants 0"},
        {"key cut", good + "\x80", "the key of a field is cut"},
        {"varint of eleven bytes", std::string("\x08") + std::string(10, '\xff') + "\x01",
         "the value of field version is cut"},
    };
    for (const auto& row : rows) {
        try {
            (void)decode_event(span_of(row.bytes), "ChargerInsertionRemoval");
            ADD_FAILURE() << row.name << ": was taken";
        } catch (const EventError& error) {
            EXPECT_NE(std::string(error.what()).find(row.fault), std::string::npos) << row.name << ": " << error.what();
        }
    }
}

TEST(Event, a_cut_at_any_length_is_an_event_or_a_fault) {
    const std::string good = packed_charger_event();
    for (size_t length = 1; length <= good.size(); length++) {
        try {
            (void)decode_event(span_of(good).first(length), "ChargerInsertionRemoval");
        } catch (const EventError&) {
        }
    }
}

}  // namespace

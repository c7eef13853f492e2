#include "telemetry/batt_degradation2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
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

// From which bytes of the stored record a field is to be taken: name, type, first offset (hexadecimal), count. Offsets,
// not the record's fields: so it does not depend on the names that the code matches.
constexpr char MAPPINGS[] = R"(
    initialize u8 0000 1  fcc_mah u16 0004 5  initialized_time u64 0020 1  last_learning_time u64 0030 1
    first_soh_time u64 0040 9  soft_charge_mode u32 0090 1  total_cycle_count u32 0098 1
    soft_charge1_onlinetime u64 00A0 5  soft_charge5_onlinetime u64 00C8 5  vt_cet_table u32 0100 672
    ct_charge_table u32 0B80 160  off_charge_total_time u64 0E20 1  on_charge_total_time u64 0E28 1
    soc_full_total_time u64 0E30 1  smart_charge_mode_total_time u64 0E38 1  jeita_warm_total_time u32 0E50 1
    dev_attach_count u32 0F00 16  dev_attach_total_time u32 0F04 16  dev_charge_count u32 0F08 16
    soc0_shutdown_cnt u32 0E10 1  thermal_range_stay_time u32 0E70 4  over_08c_total_time u32 0E80 1
    over_08c_charge_count u32 0E84 1  over_06c_total_time u32 0E88 1  over_06c_charge_count u32 0E8C 1
    max_discharge_current negated_u16 0E90 1  online_time u32 0028 1  total_arrhenius u32 1000 1
    arrhenius_per_10days u32 1010 252  max_dischg_cur_3500mv_10c negated_u16 0E92 1
    max_dischg_cur_3500mv_5c negated_u16 0E94 1  max_dischg_cur_3500mv_0c negated_u16 0E96 1
    max_discharge_time u32 0EA0 4  max_temp i16 0E9C 1  max_temp_time u32 0EB8 1  min_temp i16 0E9E 1
    min_temp_time u32 0EBC 1  max_cell_voltage u16 0EEA 1  max_cell_voltage_time u32 0EEC 1
    total_discharge_time u32 0EC0 8  arrhenius_lv level_u8 1400 252
    full_stay_capacity_degradation_per_10days u32 1510 252  full_stay_capacity_degradation_aging_lv level_u8 1900 252
    total_cycle_degradation u32 1A00 1  cycle_degradation_per_10days u32 1A10 252
    total_full_stay_cap_degradation u32 1500 1  latest_user_soh u16 0038 1  user_soh_per_10days u16 1E00 252
    latest_predicted_soh u16 003E 1  predicted_soh_per_10days u16 2400 252  latest_raw_soh u16 003A 1
    raw_soh_per_10days u16 2000 252  latest_filtered_soh u16 003C 1  filtered_soh_per_10days u16 2200 252
)";

std::string value_text(const RecordBytes& record, const std::string& type, size_t offset, size_t size) {
    uint64_t raw = 0;
    memcpy(&raw, &record[offset], size);
    return type == "i16"                      ? std::to_string(static_cast<int16_t>(raw))
           : type == "negated_u16"            ? std::to_string(-static_cast<int>(raw))
           : type == "level_u8" && raw == 255 ? "4294967295"
                                              : std::to_string(raw);
}

Fields expected_fields(const RecordBytes& record) {
    Fields fields;
    std::istringstream mappings(MAPPINGS);
    std::string field, type;
    size_t offset = 0, count = 0;
    while (mappings >> field >> type >> std::hex >> offset >> std::dec >> count) {
        const size_t size = type.ends_with("64") ? 8 : type.ends_with("32") ? 4 : type.ends_with("16") ? 2 : 1;
        const size_t stride = field.starts_with("dev_") ? 16 : size;
        for (size_t i = 0; i < count; i++) {
            fields[field].push_back(value_text(record, type, offset + i * stride, size));
        }
    }
    return fields;
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
        {std::string(16, '\xFF'),
         "\"\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\\377\"", 255, INT64_MAX},
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
        expected["battery_model_name"] = {rows[i].shown};
        expected["usb_connector_heat_count"] = {std::to_string(rows[i].heat_count)};
        expected["usb_connector_heat_time"] = {std::to_string(static_cast<uint64_t>(rows[i].heat_time))};

        BattStat stat;
        memcpy(&stat, contents[i].data(), sizeof stat);
        ServiceState state{.cycle_wall_time = WALL_CLOCK_SET, .batt_degr2_report = {.last_reported_period = -2}};
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
        BattStat stat{};
        for (const Step& step : history) {
            SCOPED_TRACE(step.name);
            phone.events.clear();
            phone.log.clear();
            phone.ondra_missing = step.library_missing;
            state.cycle_wall_time = step.wall_time;
            (void)snprintf(state.vendor_model, sizeof state.vendor_model, "%s", step.model);
            stat.online_time = step.online_time;
            send_ondra_batt_degr2_if_is_timing(state, stat);
            EXPECT_EQ(phone.events.size(), step.sent ? 1U : 0U);
            std::vector<std::string> log;
            if (step.sent) {
                log = {"<3>cellwarden: Sending ondra event for BatteryDegradation2\n"};
            } else if (step.library_missing) {
                log = {"<3>cellwarden: ONDRA_T for BatteryDegradation is NULL\n"};
            }
            EXPECT_EQ(phone.log, log);
        }
    }
}

}  // namespace
}  // namespace cellwarden

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "telemetry/charging.pb-c.h"
#include "telemetry/reports.h"
#include "telemetry/send_event.h"

namespace cellwarden {
namespace {

constexpr EventKind EVENT = {
    .name = "BatteryDegradation2",
    .library_missing_text = "<3>cellwarden: ONDRA_T for BatteryDegradation is NULL\n",
    .sent_text = "<3>cellwarden: Sending ondra event for BatteryDegradation2\n",
};

// The message, and its values whose form differs from the record's.
struct Report {
    Charging__BatteryDegradation2 message = CHARGING__BATTERY_DEGRADATION2__INIT;
    std::array<char, 16> version{};
    std::array<char, 17> battery_model_name{};
    std::array<uint32_t, CHARGER_CLASS_COUNT> attach_counts{};
    std::array<uint32_t, CHARGER_CLASS_COUNT> attach_times{};
    std::array<uint32_t, CHARGER_CLASS_COUNT> charge_counts{};
    std::array<uint32_t, 6 * PERIOD_COUNT + 5> widened{};
    size_t widened_count = 0;
};

// Fields that exist in both the message and the record, but are never sent.
constexpr std::array<std::string_view, 6> NEVER_SENT = {"fcc_mah_raw",          "full_count",
                                                        "learning_total_count", "learning_try_cnt",
                                                        "recharge_count",       "safety_timer_cnt"};

// Returns the message's field for the record's field of that name, or null if no field is sent.
const ProtobufCFieldDescriptor* field_of(const char* name) {
    if (std::find(NEVER_SENT.begin(), NEVER_SENT.end(), name) != NEVER_SENT.end()) {
        return nullptr;
    }
    return protobuf_c_message_descriptor_get_field_by_name(
        &charging__battery_degradation2__descriptor, name);
}

template <typename T>
void set(Report& report, unsigned offset, const T& value) {
    memcpy(reinterpret_cast<char*>(&report.message) + offset, &value, sizeof value);
}

template <std::integral Stored>
void put(Report& report, const char* name, Stored value) {
    const ProtobufCFieldDescriptor* field = field_of(name);
    if (field == nullptr) {
        return;
    }
    set(report, field->quantifier_offset, protobuf_c_boolean{1});
    if (field->type == PROTOBUF_C_TYPE_UINT64) {
        set(report, field->offset, static_cast<uint64_t>(value));
    } else {
        set(report, field->offset, static_cast<uint32_t>(value));
    }
}

// Uses the record's own elements if the message's are as wide, otherwise widened copies.
template <typename Stored, size_t N>
void put(Report& report, const char* name, const std::array<Stored, N>& stored) {
    const ProtobufCFieldDescriptor* field = field_of(name);
    if (field == nullptr || field->label != PROTOBUF_C_LABEL_REPEATED) {
        return;  // fill_report sets version and model name as texts
    }
    set(report, field->quantifier_offset, N);
    if constexpr (sizeof(Stored) >= sizeof(uint32_t)) {
        set(report, field->offset, stored.data());
    } else {
        uint32_t* const elements = report.widened.data() + report.widened_count;
        report.widened_count += N;
        std::copy(stored.begin(), stored.end(), elements);
        if constexpr (std::is_same_v<Stored, uint8_t>) {
            std::replace(elements, elements + N, uint32_t{LEVEL_NOT_DECIDED}, UINT32_MAX);
        }
        set(report, field->offset, elements);
    }
}

// The message has one list per member of the charger entries.
void put(Report& report, const char* /*name*/,
         const std::array<DevAttachEntry, CHARGER_CLASS_COUNT>& classes) {
    for (size_t i = 0; i < CHARGER_CLASS_COUNT; i++) {
        report.attach_counts[i] = classes[i].dev_attach_count;
        report.attach_times[i] = classes[i].dev_attach_total_time;
        report.charge_counts[i] = classes[i].dev_charge_count;
    }
    put(report, "dev_attach_count", report.attach_counts);
    put(report, "dev_attach_total_time", report.attach_times);
    put(report, "dev_charge_count", report.charge_counts);
}

// The message points into `report` and `stat`.
void fill_report(Report& report, const HeatState& heat, const BattStat& stat) {
#define BATT_STAT_FIELD(offset, name, unit, ...) put(report, #name, stat.name);
#include "state/batt_stat_fields.inc"
    Charging__BatteryDegradation2& message = report.message;
    (void)snprintf(report.version.data(), report.version.size(), "%d.%d.%d", stat.version[0],
                   stat.version[1], stat.version[2]);
    message.version = report.version.data();
    // All bytes of a name without a terminator are sent.
    std::copy(stat.battery_model_name.begin(), stat.battery_model_name.end(),
              report.battery_model_name.begin());
    message.battery_model_name = report.battery_model_name.data();
    // Discharge currents are stored as magnitudes and sent as negative currents.
    for (int32_t* current :
         {&message.max_discharge_current, &message.max_dischg_cur_3500mv_10c,
          &message.max_dischg_cur_3500mv_5c, &message.max_dischg_cur_3500mv_0c}) {
        *current = -*current;
    }
    put(report, "usb_connector_heat_count", heat.usb_connector_heat_count);
    put(report, "usb_connector_heat_time", heat.usb_connector_heat_time);
}

}  // namespace

void send_ondra_batt_degr2_if_is_timing(const Device& device, ServiceState& state,
                                        const BattStat& stat) {
    if (!reporting_is_allowed(state)) {
        return;
    }
    int32_t& last = state.batt_degr2_report.last_reported_period;
    const auto period = static_cast<int32_t>(stat.online_time / uint32_t{PERIOD_S});
    const bool due = last != NOT_KNOWN && period > last;
    last = period;
    if (due) {
        Report report;
        fill_report(report, state.heat, stat);
        (void)send_event(device, EVENT, report.message.base);
    }
}

}  // namespace cellwarden

#include "telemetry/batt_degradation2.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <type_traits>

#include "telemetry/charging.pb-c.h"
#include "telemetry/send_event.h"

namespace cellwarden {
namespace {

constexpr EventKind EVENT = {
    .name = "BatteryDegradation2",
    .library_missing_text = "<3>cellwarden: ONDRA_T for BatteryDegradation is NULL\n",
    .sent_text = "<3>cellwarden: Sending ondra event for BatteryDegradation2\n",
};

// One event on its way: the record, and room for what the record holds in narrower types.
struct Report {
    const ServiceState& state;
    BattStat stat;
    Charging__BatteryDegradation2 message{};
    std::array<char, 16> version{};
    std::array<char, 17> battery_model_name{};
    std::array<uint32_t, 6 * PERIOD_COUNT + 5 + 3 * CHARGER_CLASS_COUNT> widened{};
    size_t widened_count = 0;
};

// `elements` of the message: those of the record where the types are the same, else widened copies.
template <typename Sent, typename Stored, size_t N>
void put_list(Report& report, size_t& count, Sent*& elements, std::array<Stored, N>& stored) {
    count = N;
    if constexpr (std::is_same_v<Sent, Stored>) {
        elements = stored.data();
    } else {
        elements = report.widened.data() + report.widened_count;
        std::copy(stored.begin(), stored.end(), elements);
        report.widened_count += N;
    }
    if constexpr (std::is_same_v<Stored, uint8_t>) {
        std::replace(elements, elements + N, Sent{LEVEL_NOT_DECIDED}, UINT32_MAX);
    }
}

void put_chargers(Report& report, size_t& count, uint32_t*& elements,
                  uint32_t DevAttachEntry::*field) {
    count = CHARGER_CLASS_COUNT;
    elements = report.widened.data() + report.widened_count;
    for (const DevAttachEntry& entry : report.stat.dev_attach) {
        report.widened[report.widened_count++] = entry.*field;
    }
}

// Fields that do not stand here are never sent.
const ProtobufCMessage* fill_message(void* context) {
#define SCALAR(field, value) message.has_##field = 1, message.field = (value)
#define STORED(field) SCALAR(field, stat.field)
#define LIST(field) put_list(report, message.n_##field, message.field, stat.field)
#define CHARGERS(field) \
    put_chargers(report, message.n_##field, message.field, &DevAttachEntry::field)

    Report& report = *static_cast<Report*>(context);
    const ServiceState& state = report.state;
    BattStat& stat = report.stat;
    Charging__BatteryDegradation2& message = report.message;

    (void)snprintf(report.version.data(), report.version.size(), "%d.%d.%d", stat.version[0],
                   stat.version[1], stat.version[2]);
    // A name without its terminator is sent as all of its bytes.
    std::copy(stat.battery_model_name.begin(), stat.battery_model_name.end(),
              report.battery_model_name.begin());
    charging__battery_degradation2__init(&message);
    // Identity and capacity
    STORED(initialize);
    message.version = report.version.data();
    LIST(fcc_mah);
    message.battery_model_name = report.battery_model_name.data();
    STORED(initialized_time);
    STORED(last_learning_time);
    LIST(first_soh_time);
    // Soft charge
    STORED(soft_charge_mode);
    STORED(total_cycle_count);
    LIST(soft_charge1_onlinetime);
    LIST(soft_charge5_onlinetime);
    LIST(vt_cet_table);
    LIST(ct_charge_table);
    // Charging
    STORED(off_charge_total_time);
    STORED(on_charge_total_time);
    STORED(soc_full_total_time);
    STORED(smart_charge_mode_total_time);
    STORED(jeita_warm_total_time);
    CHARGERS(dev_attach_count);
    CHARGERS(dev_attach_total_time);
    CHARGERS(dev_charge_count);
    STORED(soc0_shutdown_cnt);
    LIST(thermal_range_stay_time);
    STORED(over_08c_total_time);
    STORED(over_08c_charge_count);
    STORED(over_06c_total_time);
    STORED(over_06c_charge_count);
    // Extremes: discharge currents are stored as magnitudes and sent as negative currents
    SCALAR(max_discharge_current, -int32_t{stat.max_discharge_current});
    STORED(online_time);
    STORED(total_arrhenius);
    LIST(arrhenius_per_10days);
    SCALAR(max_dischg_cur_3500mv_10c, -int32_t{stat.max_dischg_cur_3500mv_10c});
    SCALAR(max_dischg_cur_3500mv_5c, -int32_t{stat.max_dischg_cur_3500mv_5c});
    SCALAR(max_dischg_cur_3500mv_0c, -int32_t{stat.max_dischg_cur_3500mv_0c});
    LIST(max_discharge_time);
    STORED(max_temp);
    STORED(max_temp_time);
    STORED(min_temp);
    STORED(min_temp_time);
    STORED(max_cell_voltage);
    STORED(max_cell_voltage_time);
    LIST(total_discharge_time);
    // Ageing per ten-day period
    LIST(arrhenius_lv);
    LIST(full_stay_capacity_degradation_per_10days);
    LIST(full_stay_capacity_degradation_aging_lv);
    SCALAR(usb_connector_heat_count, state.heat.usb_connector_heat_count);
    SCALAR(usb_connector_heat_time, static_cast<uint64_t>(state.heat.usb_connector_heat_time));
    STORED(total_cycle_degradation);
    LIST(cycle_degradation_per_10days);
    STORED(total_full_stay_cap_degradation);
    STORED(latest_user_soh);
    LIST(user_soh_per_10days);
    STORED(latest_predicted_soh);
    LIST(predicted_soh_per_10days);
    STORED(latest_raw_soh);
    LIST(raw_soh_per_10days);
    STORED(latest_filtered_soh);
    LIST(filtered_soh_per_10days);
    return &message.base;

#undef SCALAR
#undef STORED
#undef LIST
#undef CHARGERS
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
        Report report{.state = state, .stat = stat};
        (void)send_event(device, EVENT, fill_message, &report);
    }
}

}  // namespace cellwarden

#include "telemetry/batt_degradation2.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "telemetry/charging.pb-c.h"
#include "telemetry/send_event.h"

namespace cellwarden {
namespace {

constexpr EventKind EVENT = {
    .name = "BatteryDegradation2",
    .library_missing_text = "<3>cellwarden: ONDRA_T for BatteryDegradation is NULL\n",
    .sent_text = "<3>cellwarden: Sending ondra event for BatteryDegradation2\n",
};

template <size_t N>
using Widened = std::array<uint32_t, N>;

// What the record holds in narrower types, as the message wants it.
struct MessageBuffers {
    std::array<char, 16> version;
    std::array<char, 17> battery_model_name;
    Widened<5> fcc_mah;
    Widened<CHARGER_CLASS_COUNT> dev_attach_count;
    Widened<CHARGER_CLASS_COUNT> dev_attach_total_time;
    Widened<CHARGER_CLASS_COUNT> dev_charge_count;
    Widened<PERIOD_COUNT> arrhenius_lv;
    Widened<PERIOD_COUNT> full_stay_capacity_degradation_aging_lv;
    Widened<PERIOD_COUNT> user_soh_per_10days;
    Widened<PERIOD_COUNT> predicted_soh_per_10days;
    Widened<PERIOD_COUNT> raw_soh_per_10days;
    Widened<PERIOD_COUNT> filtered_soh_per_10days;
};

template <typename T, size_t N>
void widen(const std::array<T, N>& from, Widened<N>& to) {
    std::copy(from.begin(), from.end(), to.begin());
}

// An empty entry, 255, is sent as all 32 bits set.
void widen_levels(const PerPeriod<uint8_t>& from, Widened<PERIOD_COUNT>& to) {
    std::transform(from.begin(), from.end(), to.begin(),
                   [](uint8_t level) { return level == UINT8_MAX ? UINT32_MAX : uint32_t{level}; });
}

void widen_chargers(const BattStat& stat, MessageBuffers& buffers) {
    for (size_t i = 0; i < CHARGER_CLASS_COUNT; i++) {
        buffers.dev_attach_count[i] = stat.dev_attach[i].dev_attach_count;
        buffers.dev_attach_total_time[i] = stat.dev_attach[i].dev_attach_total_time;
        buffers.dev_charge_count[i] = stat.dev_attach[i].dev_charge_count;
    }
}

void fill_buffers(const BattStat& stat, MessageBuffers& buffers) {
    (void)snprintf(buffers.version.data(), buffers.version.size(), "%d.%d.%d", stat.version[0],
                   stat.version[1], stat.version[2]);
    // A name without its terminator is sent as all of its bytes.
    std::copy(stat.battery_model_name.begin(), stat.battery_model_name.end(),
              buffers.battery_model_name.begin());
    widen(stat.fcc_mah, buffers.fcc_mah);
    widen_chargers(stat, buffers);
    widen_levels(stat.arrhenius_lv, buffers.arrhenius_lv);
    widen_levels(stat.full_stay_capacity_degradation_aging_lv,
                 buffers.full_stay_capacity_degradation_aging_lv);
    widen(stat.user_soh_per_10days, buffers.user_soh_per_10days);
    widen(stat.predicted_soh_per_10days, buffers.predicted_soh_per_10days);
    widen(stat.raw_soh_per_10days, buffers.raw_soh_per_10days);
    widen(stat.filtered_soh_per_10days, buffers.filtered_soh_per_10days);
}

// A repeated field takes the elements where they are; packing only reads them.
template <typename T, size_t N>
void point_at(size_t& count, T*& elements, const std::array<T, N>& source) {
    count = N;
    elements = const_cast<T*>(source.data());
}

// The message for a record; it points into `stat` and `buffers`. Fields that do not stand here are
// never sent.
Charging__BatteryDegradation2 batt_degradation2_of(const ServiceState& state, const BattStat& stat,
                                                   MessageBuffers& buffers) {
#define SCALAR(field, value) message.has_##field = 1, message.field = (value)
#define STORED(field) SCALAR(field, stat.field)
#define NEGATED(field) SCALAR(field, -int32_t{stat.field})
#define ELEMENTS(field) point_at(message.n_##field, message.field, stat.field)
#define WIDENED(field) point_at(message.n_##field, message.field, buffers.field)

    fill_buffers(stat, buffers);
    Charging__BatteryDegradation2 message;
    charging__battery_degradation2__init(&message);
    // Identity and capacity
    STORED(initialize);
    message.version = buffers.version.data();
    WIDENED(fcc_mah);
    message.battery_model_name = buffers.battery_model_name.data();
    STORED(initialized_time);
    STORED(last_learning_time);
    ELEMENTS(first_soh_time);
    // Soft charge
    STORED(soft_charge_mode);
    STORED(total_cycle_count);
    ELEMENTS(soft_charge1_onlinetime);
    ELEMENTS(soft_charge5_onlinetime);
    ELEMENTS(vt_cet_table);
    ELEMENTS(ct_charge_table);
    // Charging
    STORED(off_charge_total_time);
    STORED(on_charge_total_time);
    STORED(soc_full_total_time);
    STORED(smart_charge_mode_total_time);
    STORED(jeita_warm_total_time);
    WIDENED(dev_attach_count);
    WIDENED(dev_attach_total_time);
    WIDENED(dev_charge_count);
    STORED(soc0_shutdown_cnt);
    ELEMENTS(thermal_range_stay_time);
    STORED(over_08c_total_time);
    STORED(over_08c_charge_count);
    STORED(over_06c_total_time);
    STORED(over_06c_charge_count);
    // Extremes: discharge currents are stored as magnitudes and sent as negative currents
    NEGATED(max_discharge_current);
    STORED(online_time);
    STORED(total_arrhenius);
    ELEMENTS(arrhenius_per_10days);
    NEGATED(max_dischg_cur_3500mv_10c);
    NEGATED(max_dischg_cur_3500mv_5c);
    NEGATED(max_dischg_cur_3500mv_0c);
    ELEMENTS(max_discharge_time);
    STORED(max_temp);
    STORED(max_temp_time);
    STORED(min_temp);
    STORED(min_temp_time);
    STORED(max_cell_voltage);
    STORED(max_cell_voltage_time);
    ELEMENTS(total_discharge_time);
    // Ageing per ten-day period
    WIDENED(arrhenius_lv);
    ELEMENTS(full_stay_capacity_degradation_per_10days);
    WIDENED(full_stay_capacity_degradation_aging_lv);
    SCALAR(usb_connector_heat_count, state.usb_connector_heat_count);
    SCALAR(usb_connector_heat_time, static_cast<uint64_t>(state.usb_connector_heat_time));
    STORED(total_cycle_degradation);
    ELEMENTS(cycle_degradation_per_10days);
    STORED(total_full_stay_cap_degradation);
    STORED(latest_user_soh);
    WIDENED(user_soh_per_10days);
    STORED(latest_predicted_soh);
    WIDENED(predicted_soh_per_10days);
    STORED(latest_raw_soh);
    WIDENED(raw_soh_per_10days);
    STORED(latest_filtered_soh);
    WIDENED(filtered_soh_per_10days);
    return message;

#undef SCALAR
#undef STORED
#undef NEGATED
#undef ELEMENTS
#undef WIDENED
}

struct Report {
    const ServiceState& state;
    const BattStat& stat;
    MessageBuffers buffers;
    Charging__BatteryDegradation2 message;
};

const ProtobufCMessage* fill_message(void* report) {
    auto& [state, stat, buffers, message] = *static_cast<Report*>(report);
    message = batt_degradation2_of(state, stat, buffers);
    return &message.base;
}

}  // namespace

void send_ondra_batt_degr2_if_is_timing(const Device& device, ServiceState& state,
                                        const BattStat& stat) {
    constexpr int32_t NO_PERIOD = -1;
    if (!reporting_is_allowed(state)) {
        return;
    }
    int32_t& last = state.batt_degr2_report.last_reported_period;
    const auto period = static_cast<int32_t>(stat.online_time / uint32_t{PERIOD_S});
    const bool due = last != NO_PERIOD && period > last;
    last = period;
    if (due) {
        Report report{.state = state, .stat = stat, .buffers = {}, .message = {}};
        (void)send_event(device, EVENT, fill_message, &report);
    }
}

}  // namespace cellwarden

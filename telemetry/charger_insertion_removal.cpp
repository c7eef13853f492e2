#include "telemetry/charging.pb-c.h"
#include "telemetry/reports.h"
#include "telemetry/send_event.h"

namespace cellwarden {
namespace {

constexpr uint32_t MESSAGE_VERSION = 2;

constexpr EventKind EVENT = {
    .name = "ChargerInsertionRemoval",
    .library_missing_text = "<3>cellwarden: ONDRA_T for Charger_Insertion_Removal is NULL\n",
    .sent_text = "<3>cellwarden: Sending ondra event for ChargerInsertionRemoval\n",
};

bool report_is_due(const InsertionRemovalReportMemory& before,
                   const InsertionRemovalReportMemory& now,
                   const ChgInsertionRemovalData& connection, int32_t thermal_maximum) {
    const bool removed =
        connection.usb_state == CONNECTION_REMOVED || connection.wls_state == CONNECTION_REMOVED;
    const bool day_counted =
        before.reported_long_insertion_counter < now.reported_long_insertion_counter;
    const bool attached =
        connection.usb_state != CONNECTION_NONE || connection.wls_state != CONNECTION_NONE;
    const bool shutting_down = attached && now.reported_shutdown_phase == PHASE_SHUTDOWN &&
                               before.reported_shutdown_phase != PHASE_SHUTDOWN;
    const bool thermal_maximum_reached = now.reported_thermal_level == thermal_maximum &&
                                         before.reported_thermal_level != thermal_maximum;
    return removed || day_counted || shutting_down || thermal_maximum_reached;
}

// Fields that are not set here are never sent.
SendResult send_report(const Device& device, const ServiceState& state,
                       ChgInsertionRemovalData& connection) {
#define SCALAR(field, value) message.has_##field = 1, message.field = (value)
#define RECORDED(field) SCALAR(field, connection.field)
#define SOH(field) SCALAR(field, static_cast<uint32_t>(state.health.field))

    char no_text[] = "";
    Charging__ChargerInsertionRemoval message = CHARGING__CHARGER_INSERTION_REMOVAL__INIT;
    SCALAR(version, MESSAGE_VERSION);
    message.charger_type = connection.charger_type;
    RECORDED(usb_insertion_time);
    SCALAR(usb_long_insertion_counter, state.connection.usb_long_insertion_counter);
    message.pdo_raw_list = no_text;
    message.n_thermal_level_time = connection.thermal_level_time.size();
    message.thermal_level_time = connection.thermal_level_time.data();
    RECORDED(inserted_soc);
    RECORDED(removal_soc);
    RECORDED(inserted_sc_stage);
    RECORDED(removal_sc_stage);
    RECORDED(battery_care_flg);
    SCALAR(moment_max_usbin_voltage, static_cast<uint32_t>(connection.moment_max_usbin_voltage));
    SCALAR(moment_max_vbatt, static_cast<uint32_t>(connection.moment_max_vbatt));
    RECORDED(icl_min_counter);
    RECORDED(wlc_epp_txid);
    RECORDED(usb_connector_heat_flg);
    SCALAR(total_cycle_degradation, to_micropercent(state.ageing.total_cycle_degradation));
    SCALAR(total_full_stay_cap_degradation,
           to_micropercent(state.ageing.total_full_stay_cap_degradation));
    SOH(latest_user_soh);
    SOH(latest_predicted_soh);
    SOH(latest_raw_soh);
    SOH(latest_filtered_soh);
    return send_event(device, EVENT, message.base);

#undef SCALAR
#undef RECORDED
#undef SOH
}

}  // namespace

void send_ondra_chg_insertion_removal_if_is_timing(const Device& device, ServiceState& state,
                                                   ChgInsertionRemovalData& connection,
                                                   const SysfsParams& snapshot) {
    const InsertionRemovalReportMemory now = {
        .reported_long_insertion_counter =
            static_cast<int32_t>(state.connection.usb_long_insertion_counter),
        .reported_shutdown_phase = param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE),
        .reported_thermal_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL)};
    const bool due = reporting_is_allowed(state) &&
                     report_is_due(state.insertion_removal_report, now, connection,
                                   param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL_MAX));
    // Every call updates this, so that a change causes at most one event.
    state.insertion_removal_report = now;
    if (due && send_report(device, state, connection) == SendResult::DONE) {
        connection = ChgInsertionRemovalData{};
    }
}

}  // namespace cellwarden

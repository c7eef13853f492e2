#include "telemetry/describe.h"

namespace cellwarden::test {

std::string describe(const ChgInsertionRemovalData& connection,
                     const std::vector<std::pair<std::string, int64_t>>& more) {
    std::string type;
    if (connection.charger_type[0] != '\0') {
        type = std::string(" type=") + connection.charger_type;
    }
    std::string text;
    const auto add = [&text](const std::string& name, int64_t value) {
        text += value != 0 ? " " + name + "=" + std::to_string(value) : "";
    };
    add("wls", connection.wls_state);
    add("usb", connection.usb_state);
    text += type;
    add("soc_in", connection.inserted_soc);
    add("stage_in", connection.inserted_sc_stage);
    add("soc_out", connection.removal_soc);
    add("stage_out", connection.removal_sc_stage);
    add("usb_uv", connection.moment_max_usbin_voltage);
    add("batt_uv", connection.moment_max_vbatt);
    add("seconds", connection.usb_insertion_time);
    for (size_t level = 0; level < connection.thermal_level_time.size(); level++) {
        add("level" + std::to_string(level), static_cast<int32_t>(connection.thermal_level_time[level]));
    }
    add("care", connection.battery_care_flg);
    add("aicl", connection.icl_min_counter);
    add("hot", connection.usb_connector_heat_flg);
    add("txid", connection.wlc_epp_txid);
    add("learning", connection.learning_flg);
    add("ping", connection.wlc_ping_freq);
    add("potential", connection.wlc_potential_power);
    add("guaranteed", connection.wlc_guaranteed_power);
    for (const auto& [name, value] : more) {
        add(name, value);
    }
    return text.empty() ? text : text.substr(1);
}

}  // namespace cellwarden::test

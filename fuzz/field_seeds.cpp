#include "fuzz/field_seeds.h"

#include <sstream>

#include "decode/event_stream.h"
#include "phone/stand_in.h"
#include "telemetry/reports.h"

namespace cellwarden::fuzz {
namespace {

constexpr int64_t WALL_CLOCK = 1'700'000'000;

BattStat seed_stat() {
    BattStat stat;
    reset_batt_stat(stat);
    std::string("PELLAMIR").copy(stat.battery_model_name.data(), stat.battery_model_name.size());
    stat.online_time = 35 * 86'400;
    stat.initialized_time = WALL_CLOCK;
    stat.first_soh_time[0] = WALL_CLOCK;
    stat.soft_charge1_onlinetime[0] = 86'400;
    stat.soft_charge_mode = 3;
    stat.latest_user_soh = 49'000;
    stat.user_soh_per_10days[0] = 49'500;
    stat.arrhenius_per_10days[1] = 70'000;
    stat.arrhenius_lv[1] = 2;
    stat.vt_cet_table[17] = 3600;
    stat.ct_charge_table[17] = 5000;
    stat.dev_attach[8].dev_attach_count = 3;
    stat.max_discharge_current = 3000;
    stat.max_discharge_time[0] = WALL_CLOCK;
    stat.total_discharge_time[2] = 60;
    return stat;
}

// Calls the daemon's code that sends a report, and returns the event.
template <typename Send>
std::string sent_by(const Send& send) {
    StandIn phone;
    ServiceState state;
    state.clock.cycle_wall_time = WALL_CLOCK;
    send(device_of(phone), state);
    for (const Effect& effect : phone.effects) {
        if (effect.kind == Effect::Kind::EVENT) {
            return effect.bytes;
        }
    }
    return "";
}

decode::PhoneEvent phone_event(const char* phone, const std::string& bytes) {
    decode::PhoneEvent found;
    found.phone = phone;
    found.time_s = WALL_CLOCK;
    found.packed.assign(bytes.begin(), bytes.end());
    found.event = decode::decode_event(found.packed);
    return found;
}

}  // namespace

std::string seed_record() {
    return bytes_of(seed_stat());
}

std::string seed_ageing_event() {
    return sent_by([](const Device& device, ServiceState& state) {
        state.batt_degr2_report.last_reported_period = 1;
        send_ondra_batt_degr2_if_is_timing(device, state, seed_stat());
    });
}

std::string seed_connection() {
    return sent_by([](const Device& device, ServiceState& state) {
        ChgInsertionRemovalData connection;
        connection.usb_state = CONNECTION_REMOVED;
        connection.inserted_soc = 20;
        connection.removal_soc = 80;
        connection.usb_insertion_time = 7200;
        connection.thermal_level_time[3] = 7200;
        (void)snprintf(connection.charger_type, sizeof connection.charger_type, "PD");
        send_ondra_chg_insertion_removal_if_is_timing(device, state, connection, SysfsParams{});
    });
}

std::string seed_stream() {
    std::ostringstream stream;
    decode::write_event(stream, phone_event("a", seed_ageing_event()));
    decode::write_event(stream, phone_event("b", seed_connection()));
    decode::write_event(stream, phone_event("a", seed_connection()));
    return stream.str();
}

}  // namespace cellwarden::fuzz

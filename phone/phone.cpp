#include "phone/phone.h"

#include <algorithm>
#include <cmath>

namespace cellwarden::phone {
namespace {

constexpr double LONGEST_STEP_S = 10;
constexpr double LOAD_HEAT_SHARE = 0.15;       // share of the load's power that warms the battery
constexpr double CONVERTER_HEAT_SHARE = 0.05;  // share of the input power that warms the battery

void advance_step(Phone& phone, double seconds) {
    phone.flow = share_power(phone.charger, phone.battery, phone.load_ma * 1e3);
    const double load_w = phone.load_ma / 1e3 * terminal_uv(phone.battery) / 1e6;
    const double heat_w = load_w * LOAD_HEAT_SHARE + phone.flow.input_w * CONVERTER_HEAT_SHARE;
    advance_battery(phone.battery, phone.flow.battery_ua, phone.ambient_c, heat_w, seconds);
}

}  // namespace

void advance_phone(Phone& phone, double seconds) {
    do {
        const double step_s = std::min(seconds, LONGEST_STEP_S);
        advance_step(phone, step_s);
        seconds -= step_s;
    } while (seconds > 0);
}

int capacity_percent(const Phone& phone) {
    const double share = phone.battery.soc / end_of_charge_soc(phone.charger, phone.battery);
    return static_cast<int>(std::lround(std::min(share, 1.0) * 100));
}

double board_temp_c(const Phone& phone) {
    return phone.battery.temp_c + 3 + 4 * phone.load_ma / 1e3;
}

const char* status_text(ChargeStatus status) {
    switch (status) {
        case ChargeStatus::DISCHARGING:
            return "Discharging";
        case ChargeStatus::NOT_CHARGING:
            return "Not charging";
        case ChargeStatus::CHARGING:
            return "Charging";
        case ChargeStatus::FULL:
            return "Full";
    }
    return "Unknown";
}

const char* health_text(double temp_c) {
    if (temp_c < 0) {
        return "Cold";
    }
    if (temp_c >= 60) {
        return "Hot";
    }
    return temp_c >= 45 ? "Warm" : "Good";
}

}  // namespace cellwarden::phone

#include "tools/lifetime/gauge.h"

#include <algorithm>

namespace cellwarden::lifetime {

void follow_battery(Gauge& gauge, const GaugeModel& model, const phone::Phone& phone) {
    gauge.lowest_soc = std::min(gauge.lowest_soc, phone.battery.soc);
    if (phone.flow.status != phone::ChargeStatus::FULL) {
        return;
    }
    if (gauge.lowest_soc * 100 < model.learns_below_percent) {
        const double error = next_spread(gauge.random, model.error_percent / 100);
        gauge.capacity_uah = phone::charge_full_uah(phone.battery) * (1 + error);
        gauge.learning_count++;
    }
    gauge.lowest_soc = 1;
}

void restart_gauge(Gauge& gauge, const phone::Battery& battery) {
    gauge.capacity_uah = battery.charge_full_design_uah;
    gauge.learning_count = 0;
    gauge.lowest_soc = 1;
}

void restore_capacity(Gauge& gauge, int32_t capacity_mah) {
    if (capacity_mah >= 1) {
        gauge.capacity_uah = capacity_mah * 1e3;
    }
}

}  // namespace cellwarden::lifetime

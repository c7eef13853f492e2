#include "tools/lifetime/gauge.h"

#include <algorithm>

namespace cellwarden::lifetime {

void follow_battery(Gauge& gauge, const GaugeModel& model, phone::Phone& phone) {
    gauge.lowest_soc = std::min(gauge.lowest_soc, phone.battery.soc);
    if (phone.flow.status != phone::ChargeStatus::FULL) {
        return;
    }
    if (gauge.lowest_soc * 100 < model.learns_below_percent) {
        const double error = next_spread(gauge.random, model.error_percent / 100);
        phone.gauge_uah = phone::charge_full_uah(phone.battery) * (1 + error);
        phone.learning_count++;
    }
    gauge.lowest_soc = 1;
}

void restart_gauge(Gauge& gauge, phone::Phone& phone) {
    phone.gauge_uah = phone.battery.charge_full_design_uah;
    phone.learning_count = 0;
    gauge.lowest_soc = 1;
}

void restore_capacity(phone::Phone& phone, int32_t capacity_mah) {
    if (capacity_mah >= 1) {
        phone.gauge_uah = capacity_mah * 1e3;
    }
}

}  // namespace cellwarden::lifetime

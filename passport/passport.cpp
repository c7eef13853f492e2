#include "passport/passport.h"

#include <algorithm>
#include <cstring>

#include "platform/log.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"

namespace cellwarden {
namespace {

void publish_production_date(const Device& device, PassportMemory& memory) {
    if (memory.production_date_published || !repair_production_date(device, memory)) {
        return;
    }
    char date[PRODUCTION_DATE_SIZE + 1] = {};
    uint32_t size = PRODUCTION_DATE_SIZE;
    if (tessera_read_unit(device, UNIT_PRODUCTION_DATE, date, &size) != 0 ||
        size != PRODUCTION_DATE_SIZE) {
        log_line(device, "<3>cellwarden: Failed to read manufacturing_date in Tessera:2802");
        return;
    }
    const std::optional<int32_t> seconds = production_date_seconds(date);
    if (seconds) {
        (void)write_sysfs_integer(device, PARAM_BATTERY_MANUFACTURING_DATE, *seconds);
        memory.production_date_published = true;
    }
}

void publish_first_usage_date(const Device& device, PassportMemory& memory) {
    if (memory.first_usage_date_published) {
        return;
    }
    char unit[20] = {};
    int32_t seconds = 0;
    uint32_t size = sizeof unit;
    if (tessera_read_unit(device, UNIT_FIRST_USAGE_DATE, unit, &size) != 0 ||
        size < sizeof seconds) {
        log_line(device, "<3>cellwarden: Failed to read first_usage_date in Tessera:2803");
        return;
    }
    memcpy(&seconds, unit, sizeof seconds);
    (void)write_sysfs_integer(device, PARAM_BATTERY_FIRST_USAGE_DATE, std::max(seconds, 0));
    memory.first_usage_date_published = true;
}

void publish_cycle_count(const Device& device, PassportMemory& memory, uint32_t total_cycle_count) {
    const uint32_t whole_cycles = total_cycle_count / FULL_CHARGE_UNITS;
    if (whole_cycles == memory.last_cycle_count_written) {
        return;
    }
    if (!write_unit(device, UNIT_CYCLE_COUNT, whole_cycles)) {
        log_line(device, "<3>cellwarden: Failed to save cycle_count in Tessera:2804");
        return;
    }
    (void)write_sysfs_integer(device, PARAM_BATTERY_CYCLE_COUNT,
                              static_cast<int32_t>(whole_cycles));
    memory.last_cycle_count_written = whole_cycles;
}

void publish_charge_full(const Device& device, PassportMemory& memory, int32_t user_charge_full) {
    if (user_charge_full != memory.last_charge_full_written) {
        (void)write_sysfs_integer(device, PARAM_BATTERY_CHARGE_FULL, user_charge_full);
        memory.last_charge_full_written = user_charge_full;
    }
}

void publish_state_of_health(const Device& device, PassportMemory& memory, int32_t user_soh) {
    // Halves are rounded up: 95,499 (0.001 %) becomes 95, and 95,500 becomes 96.
    const auto soh_percent = static_cast<uint16_t>((int64_t{user_soh} + 500) / 1000);
    if (soh_percent == memory.last_soh_written) {
        return;
    }
    if (!write_unit(device, UNIT_STATE_OF_HEALTH, soh_percent)) {
        log_line(device, "<3>cellwarden: Failed to save state_of_health in Tessera:2805");
        return;
    }
    (void)write_sysfs_integer(device, PARAM_BATTERY_STATE_OF_HEALTH, soh_percent);
    memory.last_soh_written = soh_percent;
}

}  // namespace

void update_eu_eco_system_values(const Device& device, ServiceState& state) {
    publish_production_date(device, state.passport);
    publish_first_usage_date(device, state.passport);
    publish_cycle_count(device, state.passport, state.usage.total_cycle_count);
    publish_charge_full(device, state.passport, state.health.user_charge_full);
    publish_state_of_health(device, state.passport, state.health.latest_user_soh);
}

}  // namespace cellwarden

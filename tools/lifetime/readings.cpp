#include "tools/lifetime/readings.h"

#include <cmath>
#include <cstring>

#include "phone/source_kind.h"

namespace cellwarden::lifetime {
namespace {

using namespace cellwarden::phone;

constexpr const char* NO_TYPE = "Unknown";

void set(SysfsParams& snapshot, SysfsParamId id, double value) {
    snapshot[id].kind = KIND_INTEGER;
    snapshot[id].value.integer = static_cast<int32_t>(std::llround(value));
}

// A text, or the number that the parameter's table has for it.
void set(SysfsParams& snapshot, SysfsParamId id, const char* text) {
    SysfsParamValue& slot = snapshot[id];
    slot.text = text;
    if (SysfsParamTable[id].format == FORMAT_TEXT) {
        slot.kind = KIND_TEXT;
        slot.value.text = text;
        return;
    }
    const SysfsEnumEntry* row = SysfsParamTable[id].enum_table;
    while (row->text != nullptr && strcmp(row->text, text) != 0) {
        row++;
    }
    slot.kind = KIND_INTEGER;
    slot.value = row->value;
}

void read_battery(const Phone& phone, const Gauge& gauge, SysfsParams& snapshot) {
    const Battery& battery = phone.battery;
    const double voltage_uv = terminal_uv(battery);
    set(snapshot, PARAM_BATTERY_CAPACITY, capacity_percent(phone));
    set(snapshot, PARAM_BATTERY_STATUS, status_text(phone.flow.status));
    set(snapshot, PARAM_BATTERY_HEALTH, health_text(battery.temp_c));
    set(snapshot, PARAM_BATTERY_TEMP, battery.temp_c * 10);
    set(snapshot, PARAM_BATTERY_VOLTAGE_NOW, voltage_uv);
    set(snapshot, PARAM_BATTERY_CURRENT_NOW, battery.current_ua);
    set(snapshot, PARAM_BATTERY_MODEL_NAME, phone.model_name.c_str());
    set(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN, battery.charge_full_design_uah);
    set(snapshot, PARAM_BATT_SOC, battery.soc * 10'000);
    set(snapshot, PARAM_VCELL_MAX, voltage_uv / 1e3);
    set(snapshot, PARAM_QCOM_CHARGE_FULL, gauge.capacity_uah);
    set(snapshot, PARAM_LEARNED_CAPACITY, gauge.capacity_uah / 1e3);
    set(snapshot, PARAM_LEARNING_COUNTER, gauge.learning_count);
}

void read_charger(const Phone& phone, SysfsParams& snapshot) {
    const Charger& charger = phone.charger;
    const bool usb = charger.source == Source::USB;
    const bool wireless = charger.source == Source::WIRELESS;
    const SourceKind& kind = source_kind_of(charger);
    set(snapshot, PARAM_USB_ONLINE, usb);
    set(snapshot, PARAM_USB_VOLTAGE_NOW, usb ? kind.input_v * 1e6 : 0);
    set(snapshot, PARAM_WIRELESS_ONLINE, wireless);
    set(snapshot, PARAM_QCOM_USB_REAL_TYPE, usb ? charger.type.c_str() : NO_TYPE);
    set(snapshot, PARAM_WLS_TYPE_TEXT, wireless ? charger.type.c_str() : NO_TYPE);
    set(snapshot, PARAM_CHARGER_MAX_WATTAGE, charger.watts * 1e6);
    set(snapshot, PARAM_ACTIVE_CHARGER_TYPE, kind.active_type);
    set(snapshot, PARAM_REG_AICL_STATUS, (usb ? 1 : 0) + (phone.flow.input_limited ? 4 : 0));
    set(snapshot, PARAM_VBAT_FULL, float_voltage_uv(charger) / 1e3);
    set(snapshot, PARAM_BATT_AGING_LEVEL, charger.ageing_level);
    set(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE, phone.shutdown_phase);
    set(snapshot, PARAM_SYSTEM_TEMP_LEVEL, charger.thermal_level);
    set(snapshot, PARAM_SYSTEM_TEMP_LEVEL_MAX, charger.thermal_level_max);
}

}  // namespace

void read_phone(const Phone& phone, const Gauge& gauge, SysfsParams& snapshot) {
    read_battery(phone, gauge, snapshot);
    read_charger(phone, snapshot);
}

}  // namespace cellwarden::lifetime

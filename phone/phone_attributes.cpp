#include "phone/phone_attributes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "phone/source_kind.h"
#include "state/facts.h"

namespace cellwarden::phone {
namespace {

struct StartText {
    SysfsParamId id;
    const char* text;
};

// Start texts of the attributes that do not follow the phone's state. Registers have the values of
// a phone at rest.
constexpr StartText start_texts[] = {
    {PARAM_BATTERY_MANUFACTURING_DATE, "0"},
    {PARAM_BATTERY_FIRST_USAGE_DATE, "0"},
    {PARAM_BATTERY_CYCLE_COUNT, "0"},
    {PARAM_BATTERY_STATE_OF_HEALTH, "0"},
    {PARAM_QCOM_WIRELESS_BOOST_EN, "0"},
    {PARAM_QCOM_WIRELESS_FW_VERSION, "01.04.02"},
    {PARAM_USB_INPUT_SUSPEND, "0"},
    {PARAM_LRC_CHARGE_DISABLE, "0"},
    {PARAM_LRC_INPUT_SUSPEND, "0"},
    {PARAM_BATT_ID, "1"},
    {PARAM_SDM_THERM, "0"},
    {PARAM_RESTORED_CAPACITY, "-1"},
    {PARAM_USB_ICL_VOTABLE_STATUS, "USB_ICL: effective=DEFAULT_VOTER"},
    {PARAM_FCC_VOTABLE_STATUS, "FCC: effective=DEFAULT_VOTER"},
    {PARAM_FAKE_CHG_VOTABLE_STATUS, "FAKE_CHG: effective=none"},
    {PARAM_FAKE_CHG_DISALLOW_VOTABLE_STATUS, "FAKE_CHG_DISALLOW: effective=none"},
    {PARAM_FCSS_ERR_CNT, "0"},
    {PARAM_INVALID_RESISTANCE_CNT, "0"},
    {PARAM_QBG_DATA_FULL_CNT, "0"},
    {PARAM_QBG_CALC_TIME, "12"},
    {PARAM_WEAK_LIMIT_CURRENT, "0"},
    {PARAM_SOC_RESET_ADJUST_ACTIVE, "0"},
    {PARAM_SOC_RESET_ADJUST_MSOC, "0"},
    {PARAM_RVSCHG_SUSPEND, "0"},
    {PARAM_REGUPDATE_INTERVAL, "0"},
    {PARAM_LOG_INTERVAL, "60"},
    {PARAM_LOG_CATEGORIES, "0x0 0x0 0x0 0x0"},
    {PARAM_LOG_LEVEL, "3"},
    {PARAM_REG_CHGR_CHAGER_STATUS, "0x07"},
    {PARAM_REG_CHGR_VBAT_STATUS, "0x03"},
    {PARAM_REG_CHGR_VBAT_STATUS2, "0x00"},
    {PARAM_REG_CHGR_IBAT_STATUS, "0x00"},
    {PARAM_REG_CHGR_VFLT_STATUS, "0x58"},
    {PARAM_REG_CHGR_INT_RT_STS, "0x00"},
    {PARAM_REG_CHGR_ICHG_STATUS, "0x5a"},
    {PARAM_REG_CHG_ENABLED, "0x01"},
    {PARAM_REG_FAST_CHG_CURRENT_CFG, "0x5a"},
    {PARAM_REG_FLOAT_VOLTAGE_CFG, "0x58"},
    {PARAM_REG_ICL_MAX_STATUS, "0x3c"},
    {PARAM_REG_ICL_STATUS, "0x3c"},
    {PARAM_REG_POWER_PATH_STATUS, "0x02"},
    {PARAM_REG_BST_STATUS, "0x00"},
    {PARAM_REG_DCDC_INT_RT_STS, "0x00"},
    {PARAM_REG_BATIF_TEMP_STATUS, "0x00"},
    {PARAM_REG_BATIF_INT_RT_STS, "0x00"},
    {PARAM_REG_BATIF_SHIP_MODE, "0x00"},
    {PARAM_REG_USBIN_INPUT_STATUS, "0x00"},
    {PARAM_REG_VUSB_STATUS, "0x00"},
    {PARAM_REG_APSD_STATUS, "0x00"},
    {PARAM_REG_APSD_RESULT_STATUS, "0x00"},
    {PARAM_REG_USB_INT_RT_STS, "0x00"},
    {PARAM_REG_USBIN_ADAPTER_ALLOW_OVERRIDE, "0x00"},
    {PARAM_REG_USBIN_ADAPTER_ALLOW_CFG, "0x08"},
    {PARAM_REG_APSD_ENABLED, "0x01"},
    {PARAM_REG_USBIN_CURRENT_LIMIT_CFG, "0x3c"},
    {PARAM_REG_USB_CMD_IL, "0x00"},
    {PARAM_REG_WLS_INPUT_STATUS, "0x00"},
    {PARAM_REG_WLS_VWLS_STATUS, "0x00"},
    {PARAM_REG_WLS_INT_RT_STS, "0x00"},
    {PARAM_REG_WLS_ADAPTER_ALLOW_CFG, "0x08"},
    {PARAM_REG_WLS_ICL_CFG, "0x1e"},
    {PARAM_REG_WLS_SUSPEND, "0x00"},
    {PARAM_REG_TYPE_C_SNK_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_SNK_DEBUG_ACCESS_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_SRC_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_STATE_MACHINE_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_MISC_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_TRY_SNK_SRC_STATUS, "0x00"},
    {PARAM_REG_TYPE_C_LEGACY_CABLE_STATUS, "0x00"},
    {PARAM_REG_TYPEC_INT_RT_STS, "0x00"},
    {PARAM_REG_TYPE_C_MODE_CFG, "0x00"},
    {PARAM_REG_MISC_AICL_STATUS, "0x00"},
    {PARAM_REG_MISC_WDOG_STATUS, "0x00"},
    {PARAM_REG_MISC_SYSOK_REASON_STATUS, "0x02"},
    {PARAM_REG_MISC_INT_RT_STS, "0x00"},
    {PARAM_IUSB0_TOT_VOTABLE_STATUS, "IUSB0_TOT: effective=DEFAULT_VOTER"},
    {PARAM_FCC_0_VOTABLE_STATUS, "FCC_0: effective=DEFAULT_VOTER"},
    {PARAM_FV_0_VOTABLE_STATUS, "FV_0: effective=DEFAULT_VOTER"},
};

constexpr const char* NO_TYPE = "Unknown";

AttributeValue number(SysfsParamId id, double value) {
    return {id, nullptr, std::llround(value)};
}

AttributeValue word(SysfsParamId id, const char* text) {
    return {id, text, 0};
}

double time_to_full_s(const Phone& phone) {
    if (phone.flow.status != ChargeStatus::CHARGING || phone.flow.battery_ua <= 0) {
        return -1;
    }
    const double missing_uah = (1 - phone.battery.soc) * charge_full_uah(phone.battery);
    return missing_uah / phone.flow.battery_ua * SECONDS_PER_HOUR;
}

void add_battery_attributes(const Phone& phone, std::vector<AttributeValue>& values) {
    const Battery& battery = phone.battery;
    const double voltage_uv = terminal_uv(battery);
    const double gauge_uah = phone.gauge_uah.value_or(charge_full_uah(battery));
    const AttributeValue rows[] = {
        number(PARAM_BATTERY_CAPACITY, capacity_percent(phone)),
        word(PARAM_BATTERY_STATUS, status_text(phone.flow.status)),
        word(PARAM_BATTERY_HEALTH, health_text(battery.temp_c)),
        number(PARAM_BATTERY_TEMP, battery.temp_c * 10),
        number(PARAM_BATTERY_VOLTAGE_NOW, voltage_uv),
        number(PARAM_BATTERY_CURRENT_NOW, battery.current_ua),
        word(PARAM_BATTERY_MODEL_NAME, phone.model_name.c_str()),
        number(PARAM_BATTERY_CHARGE_FULL_DESIGN, battery.charge_full_design_uah),
        number(PARAM_BATTERY_TIME_TO_FULL_NOW, time_to_full_s(phone)),
        number(PARAM_QCOM_RESISTANCE, battery.resistance_mohm * 1e3),
        number(PARAM_QCOM_CHARGE_FULL, gauge_uah),
        number(PARAM_BATT_SOC, battery.soc * 10'000),
        number(PARAM_SYSTEM_SOC, battery.soc * 10'000),
        number(PARAM_MONOTONIC_SOC, battery.soc * 10'000),
        number(PARAM_REAL_NOM_CAP, battery.charge_full_design_uah / 1e3),
        number(PARAM_BATT_TEMP, battery.temp_c * 10),
        number(PARAM_REAL_TEMP, battery.temp_c * 10),
        number(PARAM_VCELL_MAX, voltage_uv / 1e3),
        number(PARAM_CURRENT_JEITA_ZONE, battery.temp_c >= 45 ? 1 : 0),
        number(PARAM_LEARNED_CAPACITY, gauge_uah / 1e3),
        number(PARAM_LEARNING_COUNTER, phone.learning_count),
        number(PARAM_TTF, time_to_full_s(phone)),
        number(PARAM_SDM_THERM_ZONE_TEMP, board_temp_c(phone) * 1e3),
    };
    values.insert(values.end(), std::begin(rows), std::end(rows));
}

void add_source_attributes(const Phone& phone, std::vector<AttributeValue>& values) {
    const Charger& charger = phone.charger;
    const SourceKind& kind = source_kind_of(charger);
    const bool usb = charger.source == Source::USB;
    const bool wireless = charger.source == Source::WIRELESS;
    const double input_ua = kind.input_v > 0 ? phone.flow.input_w / kind.input_v * 1e6 : 0;
    const double limit_ua = kind.input_v > 0 ? charger.watts / kind.input_v * 1e6 : 0;
    const char* const wireless_type = wireless ? charger.type.c_str() : NO_TYPE;
    const double wireless_uv = wireless ? kind.input_v * 1e6 : 0;
    const AttributeValue rows[] = {
        number(PARAM_USB_ONLINE, usb ? 1 : 0),
        number(PARAM_USB_CURRENT_NOW, usb ? input_ua : 0),
        number(PARAM_USB_VOLTAGE_NOW, usb ? kind.input_v * 1e6 : 0),
        number(PARAM_USB_CHARGER_TYPE_DETERMINED, usb ? 1 : 0),
        number(PARAM_USB_INPUT_CURRENT_LIMIT, usb ? limit_ua : 0),
        number(PARAM_WIRELESS_ONLINE, wireless ? 1 : 0),
        number(PARAM_WIRELESS_VOLTAGE_NOW, wireless_uv),
        number(PARAM_WIRELESS_CURRENT_MAX, wireless ? limit_ua : 0),
        word(PARAM_QCOM_USB_REAL_TYPE, usb ? charger.type.c_str() : NO_TYPE),
        word(PARAM_TYPEC_MODE, kind.typec_mode),
        number(PARAM_WLS_VRECT, wireless_uv),
        number(PARAM_WLS_VOUT, wireless_uv),
        number(PARAM_WLS_IOUT, wireless ? input_ua : 0),
        word(PARAM_WLS_TYPE, wireless_type),
        word(PARAM_WLS_TYPE_TEXT, wireless_type),
        number(PARAM_WLS_NEGOTIATED_PWR, wireless ? std::floor(charger.watts) : 0),
        number(PARAM_AICL_RESULT, usb ? limit_ua / 1e3 : 0),
        number(PARAM_CHARGER_MAX_WATTAGE, charger.watts * 1e6),
        number(PARAM_ACTIVE_CHARGER_TYPE, kind.active_type),
        // Bit 0: the search for the input current has ended. Bit 2: the source limits the current.
        number(PARAM_REG_AICL_STATUS, (usb ? 1 : 0) + (phone.flow.input_limited ? 4 : 0)),
    };
    values.insert(values.end(), std::begin(rows), std::end(rows));
}

void add_driver_attributes(const Phone& phone, std::vector<AttributeValue>& values) {
    const Charger& charger = phone.charger;
    const double limit_ua = charge_current_limit_ua(charger, phone.battery);
    const bool tapering =
        phone.flow.status == ChargeStatus::CHARGING && phone.flow.battery_ua < limit_ua;
    const AttributeValue rows[] = {
        number(PARAM_BOOTUP_SHUTDOWN_PHASE, phone.shutdown_phase),
        number(PARAM_SYSTEM_TEMP_LEVEL, charger.thermal_level),
        number(PARAM_SYSTEM_TEMP_LEVEL_MAX, charger.thermal_level_max),
        number(PARAM_BATT_AGING_LEVEL, charger.ageing_level),
        number(PARAM_CURRENT_STEP_PHASE, tapering ? 1 : 0),
        word(PARAM_BATTERY_CHARGER_STATUS, status_text(phone.flow.status)),
        number(PARAM_ICM_STATE, draws_input(charger) ? 1 : 0),
        number(PARAM_FV, float_voltage_uv(charger)),
        number(PARAM_FCC, limit_ua),
        number(PARAM_VBAT_FULL, float_voltage_uv(charger) / 1e3),
        number(PARAM_SMART_CHARGING_STATUS, charger.smart_stop_percent < 100 ? 1 : 0),
        number(PARAM_SMART_CHARGE_STOP_LEVEL, charger.smart_stop_percent),
    };
    values.insert(values.end(), std::begin(rows), std::end(rows));
}

std::string text_of(const AttributeValue& value) {
    if (value.text != nullptr) {
        return value.text;
    }
    if (SysfsParamTable[value.id].format != FORMAT_HEX) {
        return std::to_string(value.number);
    }
    char hex[24];
    (void)snprintf(hex, sizeof hex, "0x%02llx", static_cast<unsigned long long>(value.number));
    return hex;
}

}  // namespace

std::string attribute_path(const Phone& phone, SysfsParamId id) {
    if (id == PARAM_SDM_THERM_ZONE_TEMP) {
        return "/sys/class/thermal/thermal_zone" + std::to_string(phone.thermal_zone) + "/temp";
    }
    return SysfsParamTable[id].path;
}

std::vector<AttributeValue> live_values(const Phone& phone) {
    std::vector<AttributeValue> values;
    values.reserve(64);
    add_battery_attributes(phone, values);
    add_source_attributes(phone, values);
    add_driver_attributes(phone, values);
    return values;
}

std::vector<AttributeFile> live_attributes(const Phone& phone) {
    std::vector<AttributeFile> texts;
    for (const AttributeValue& value : live_values(phone)) {
        texts.push_back({value.id, text_of(value)});
    }
    return texts;
}

std::vector<AttributeFile> start_attributes(const Phone& phone) {
    std::vector<AttributeFile> texts;
    for (const StartText& row : start_texts) {
        texts.push_back({row.id, row.text});
    }
    texts.push_back(
        {PARAM_BATTERY_CHARGE_FULL, std::to_string(std::llround(charge_full_uah(phone.battery)))});
    return texts;
}

void obey_attribute_write(Phone& phone, SysfsParamId id, const std::string& text) {
    const int value = static_cast<int>(strtol(text.c_str(), nullptr, 10));
    switch (id) {
        case PARAM_USB_INPUT_SUSPEND:
            phone.charger.usb_input_suspend = value != 0;
            break;
        case PARAM_LRC_CHARGE_DISABLE:
            phone.charger.lrc_charge_disable = value != 0;
            break;
        case PARAM_LRC_INPUT_SUSPEND:
            phone.charger.lrc_input_suspend = value != 0;
            break;
        case PARAM_BATT_AGING_LEVEL:
            phone.charger.ageing_level = std::clamp(value, 0, 5);
            break;
        default:
            break;
    }
}

}  // namespace cellwarden::phone

#include "phone/phone_attributes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "phone/source_kind.h"

namespace cellwarden::bench {
namespace {

constexpr double SECONDS_PER_HOUR = 3600;

struct StartText {
    SysfsParamId id;
    const char* text;
};

// Attributes that do not follow from the phone's state. Registers hold what a phone at rest shows.
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
    {PARAM_BATT_AGING_LEVEL, "0"},
    {PARAM_SMART_CHARGING_STATUS, "0"},
    {PARAM_SDM_THERM, "0"},
    {PARAM_LEARNING_COUNTER, "0"},
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
    {PARAM_SMART_CHARGE_STOP_LEVEL, "100"},
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

std::string number(double value) {
    return std::to_string(std::llround(value));
}

std::string hex(unsigned value) {
    char text[16];
    (void)snprintf(text, sizeof text, "0x%02x", value);
    return text;
}

std::string flag(bool value) {
    return value ? "1" : "0";
}

double time_to_full_s(const Phone& phone) {
    if (phone.flow.status != ChargeStatus::CHARGING || phone.flow.battery_ua <= 0) {
        return -1;
    }
    const double missing_uah = (1 - phone.battery.soc) * charge_full_uah(phone.battery);
    return missing_uah / phone.flow.battery_ua * SECONDS_PER_HOUR;
}

void add_battery_attributes(const Phone& phone, std::vector<AttributeText>& texts) {
    const Battery& battery = phone.battery;
    const std::string decidegrees = number(battery.temp_c * 10);
    const std::string soc = number(battery.soc * 10'000);
    const std::string capacity = std::to_string(capacity_percent(phone));
    const std::string ttf = number(time_to_full_s(phone));
    const AttributeText rows[] = {
        {PARAM_BATTERY_CAPACITY, capacity},
        {PARAM_BATTERY_STATUS, status_text(phone.flow.status)},
        {PARAM_BATTERY_HEALTH, health_text(battery.temp_c)},
        {PARAM_BATTERY_TEMP, decidegrees},
        {PARAM_BATTERY_VOLTAGE_NOW, number(terminal_uv(battery))},
        {PARAM_BATTERY_CURRENT_NOW, number(battery.current_ua)},
        {PARAM_BATTERY_MODEL_NAME, phone.model_name},
        {PARAM_BATTERY_CHARGE_FULL_DESIGN, number(battery.charge_full_design_uah)},
        {PARAM_BATTERY_TIME_TO_FULL_NOW, ttf},
        {PARAM_QCOM_RESISTANCE, number(battery.resistance_mohm * 1e3)},
        {PARAM_QCOM_CHARGE_FULL, number(charge_full_uah(battery))},
        {PARAM_BATT_SOC, soc},
        {PARAM_SYSTEM_SOC, soc},
        {PARAM_MONOTONIC_SOC, soc},
        {PARAM_REAL_NOM_CAP, number(battery.charge_full_design_uah / 1e3)},
        {PARAM_BATT_TEMP, decidegrees},
        {PARAM_REAL_TEMP, decidegrees},
        {PARAM_VCELL_MAX, number(terminal_uv(battery) / 1e3)},
        {PARAM_CURRENT_JEITA_ZONE, flag(battery.temp_c >= 45)},
        {PARAM_LEARNED_CAPACITY, number(charge_full_uah(battery) / 1e3)},
        {PARAM_TTF, ttf},
        {PARAM_SDM_THERM_ZONE_TEMP, number(board_temp_c(phone) * 1e3)},
    };
    texts.insert(texts.end(), std::begin(rows), std::end(rows));
}

void add_source_attributes(const Phone& phone, std::vector<AttributeText>& texts) {
    const Charger& charger = phone.charger;
    const SourceKind& kind = source_kind_of(charger);
    const bool usb = charger.source == Source::USB;
    const bool wireless = charger.source == Source::WIRELESS;
    const double input_ua = kind.input_v > 0 ? phone.flow.input_w / kind.input_v * 1e6 : 0;
    const double limit_ua = kind.input_v > 0 ? charger.watts / kind.input_v * 1e6 : 0;
    const std::string wireless_type = wireless ? charger.type : "Unknown";
    const double wireless_v = wireless ? kind.input_v : 0;
    const AttributeText rows[] = {
        {PARAM_USB_ONLINE, flag(usb)},
        {PARAM_USB_CURRENT_NOW, number(usb ? input_ua : 0)},
        {PARAM_USB_VOLTAGE_NOW, number(usb ? kind.input_v * 1e6 : 0)},
        {PARAM_USB_CHARGER_TYPE_DETERMINED, flag(usb)},
        {PARAM_USB_INPUT_CURRENT_LIMIT, number(usb ? limit_ua : 0)},
        {PARAM_WIRELESS_ONLINE, flag(wireless)},
        {PARAM_WIRELESS_VOLTAGE_NOW, number(wireless_v * 1e6)},
        {PARAM_WIRELESS_CURRENT_MAX, number(wireless ? limit_ua : 0)},
        {PARAM_QCOM_USB_REAL_TYPE, usb ? charger.type : "Unknown"},
        {PARAM_TYPEC_MODE, kind.typec_mode},
        {PARAM_WLS_VRECT, number(wireless_v * 1e6)},
        {PARAM_WLS_VOUT, number(wireless_v * 1e6)},
        {PARAM_WLS_IOUT, number(wireless ? input_ua : 0)},
        {PARAM_WLS_TYPE, wireless_type},
        {PARAM_WLS_TYPE_TEXT, wireless_type},
        {PARAM_WLS_NEGOTIATED_PWR, hex(wireless ? static_cast<unsigned>(charger.watts) : 0)},
        {PARAM_AICL_RESULT, number(usb ? limit_ua / 1e3 : 0)},
        {PARAM_CHARGER_MAX_WATTAGE, number(charger.watts * 1e6)},
        {PARAM_ACTIVE_CHARGER_TYPE, std::to_string(kind.active_type)},
        // Bit 0: the search for the input current has ended; bit 2: the source has given way.
        {PARAM_REG_AICL_STATUS, hex((usb ? 1U : 0U) | (phone.flow.input_limited ? 4U : 0U))},
    };
    texts.insert(texts.end(), std::begin(rows), std::end(rows));
}

void add_driver_attributes(const Phone& phone, std::vector<AttributeText>& texts) {
    const Charger& charger = phone.charger;
    const double limit_ua = charge_current_limit_ua(charger, phone.battery);
    const bool tapering =
        phone.flow.status == ChargeStatus::CHARGING && phone.flow.battery_ua < limit_ua;
    const AttributeText rows[] = {
        {PARAM_BOOTUP_SHUTDOWN_PHASE, std::to_string(phone.shutdown_phase)},
        {PARAM_SYSTEM_TEMP_LEVEL, std::to_string(charger.thermal_level)},
        {PARAM_SYSTEM_TEMP_LEVEL_MAX, std::to_string(charger.thermal_level_max)},
        {PARAM_CURRENT_STEP_PHASE, flag(tapering)},
        {PARAM_BATTERY_CHARGER_STATUS, status_text(phone.flow.status)},
        {PARAM_ICM_STATE, flag(draws_input(charger))},
        {PARAM_FV, number(float_voltage_uv(charger))},
        {PARAM_FCC, number(limit_ua)},
        {PARAM_VBAT_FULL, number(float_voltage_uv(charger) / 1e3)},
    };
    texts.insert(texts.end(), std::begin(rows), std::end(rows));
}

}  // namespace

std::string attribute_path(const Phone& phone, SysfsParamId id) {
    if (id == PARAM_SDM_THERM_ZONE_TEMP) {
        return "/sys/class/thermal/thermal_zone" + std::to_string(phone.thermal_zone) + "/temp";
    }
    return SysfsParamTable[id].path;
}

std::vector<AttributeText> live_attributes(const Phone& phone) {
    std::vector<AttributeText> texts;
    add_battery_attributes(phone, texts);
    add_source_attributes(phone, texts);
    add_driver_attributes(phone, texts);
    return texts;
}

std::vector<AttributeText> start_attributes(const Phone& phone) {
    std::vector<AttributeText> texts;
    for (const StartText& row : start_texts) {
        texts.push_back({row.id, row.text});
    }
    texts.push_back({PARAM_BATTERY_CHARGE_FULL, number(charge_full_uah(phone.battery))});
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

}  // namespace cellwarden::bench

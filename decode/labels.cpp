#include "decode/labels.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "decode/reading.h"
#include "decode/record_layout.h"
#include "product/limits.h"
#include "stats/batt_stat_update.h"

namespace cellwarden::decode {
namespace {

constexpr int32_t PERIOD_DAYS = 10;

std::string index_label(size_t index) {
    return "[" + std::to_string(index) + "]";
}

std::string bin_label(std::span<const int32_t> borders, size_t bin, double per_unit, int digits) {
    const auto border = [&](size_t i) {
        char text[16];
        (void)snprintf(text, sizeof text, "%.*f", digits, borders[i] / per_unit);
        return std::string(text);
    };
    if (bin == 0) {
        return "above " + border(0);
    }
    return bin == borders.size() ? "up to " + border(bin - 1)
                                 : border(bin) + " to " + border(bin - 1);
}

std::string milestone_label(size_t index) {
    return "below " + plain_number((SOH_MILESTONES.at(index) + 1) / 1e3, 0) + " %";
}

std::string thermal_range_label(size_t index) {
    const int32_t end = THERMAL_RANGE_ENDS.at(index);
    if (index == 0) {
        return "thermal level " + std::to_string(end);
    }
    const int32_t start = THERMAL_RANGE_ENDS[index - 1] + 1;
    return start == end ? "thermal level " + std::to_string(end)
                        : "thermal levels " + std::to_string(start) + " to " + std::to_string(end);
}

// The limits are the last readings that match, so the label is the next value: 9.9 degC is "below
// 10 degC".
std::string discharge_label(const DischargeLimits& limits) {
    std::string label;
    if (limits.current_ua < -1) {
        label = "over " + plain_number(-(limits.current_ua + 1000) / 1e6, 3) + " A";
    }
    const auto add = [&](const std::string& text) { label += (label.empty() ? "" : ", ") + text; };
    if (limits.temperature_decic != ANY_READING) {
        add("below " + plain_number((limits.temperature_decic + 1) / 10.0, 1) + " degC");
    }
    if (limits.voltage_uv != ANY_READING) {
        add("below " + plain_number((limits.voltage_uv + 1) / 1e6, 3) + " V");
    }
    return label.empty() ? "any" : label;
}

// Returns the name of a number of the driver's active_charger_type.
std::string charger_type_name(int32_t type) {
    struct Name {
        int32_t type;
        const char* name;
    };
    static constexpr std::array NAMES = {
        Name{2, "USB data port"},
        Name{3, "USB charger"},
        Name{4, "USB charging port"},
        Name{5, "unknown USB source"},
        Name{7, "USB high voltage"},
        Name{8, "USB high voltage"},
        Name{9, "USB high voltage"},
        Name{15, "USB PD"},
        Name{16, "USB PD"},
        Name{21, "wireless, basic profile"},
        Name{22, "wireless, extended profile"},
    };
    for (const Name& row : NAMES) {
        if (row.type == type) {
            return row.name;
        }
    }
    return "charger type " + std::to_string(type);
}

std::string wattage_label(const ChargerClassRow& row) {
    if (row.max_wattage_uw != ANY_WATTAGE) {
        return ", up to " + plain_number(row.max_wattage_uw / 1e6, 0) + " W";
    }
    int32_t lower_uw = 0;  // limit of the class below, if the type has several classes
    for (const ChargerClassRow& other : CHARGER_CLASS_ROWS) {
        if (other.charger_type == row.charger_type && other.max_wattage_uw < row.max_wattage_uw) {
            lower_uw = std::max(lower_uw, other.max_wattage_uw);
        }
    }
    return lower_uw > 0 ? ", over " + plain_number(lower_uw / 1e6, 0) + " W" : "";
}

std::string charger_label(size_t charger_class) {
    std::string names;
    std::string wattage;
    for (const ChargerClassRow& row : CHARGER_CLASS_ROWS) {
        if (row.charger_class != static_cast<int32_t>(charger_class)) {
            continue;
        }
        const std::string name = charger_type_name(row.charger_type);
        if (names.find(name) == std::string::npos) {
            names += (names.empty() ? "" : " or ") + name;
        }
        wattage = wattage_label(row);
    }
    return names.empty() ? "class " + std::to_string(charger_class) + ", not assigned"
                         : names + wattage;
}

std::string grid_label(const std::string& row, size_t index) {
    return row + ", " + temperature_bin_label(index % TEMPERATURE_BIN_COUNT) + " degC";
}

}  // namespace

std::string voltage_bin_label(size_t bin, const UsageBins& bins) {
    return bin_label(bins.voltage_uv, bin, 1e6, 2);
}

std::string temperature_bin_label(size_t bin, const UsageBins& bins) {
    return bin_label(bins.temperature_decic, bin, 10, 0);
}

std::string soc_bin_label(size_t bin, const UsageBins& bins) {
    return bin_label(bins.soc, bin, 100, 0);
}

std::string element_label(std::string_view field, size_t index) {
    // An event from a stranger may have more elements than the record.
    const RecordField* const stored = find_record_field(field);
    if (stored != nullptr && index >= stored->count) {
        return index_label(index);
    }
    if (field == "vt_cet_table") {
        return grid_label(voltage_bin_label(index / TEMPERATURE_BIN_COUNT) + " V", index);
    }
    if (field == "ct_charge_table") {
        return grid_label(soc_bin_label(index / TEMPERATURE_BIN_COUNT) + " %", index);
    }
    if (field.ends_with("_per_10days") || field == "arrhenius_lv" ||
        field == "full_stay_capacity_degradation_aging_lv") {
        return "10 days from day " + std::to_string(index * PERIOD_DAYS);
    }
    if (field == "first_soh_time") {
        return milestone_label(index);
    }
    if (field == "soft_charge1_onlinetime" || field == "soft_charge5_onlinetime") {
        return "level " + std::to_string(index + 1);
    }
    if (field == "max_discharge_time") {
        return discharge_label(DISCHARGE_MAXIMA_LIMITS.at(index));
    }
    if (field == "total_discharge_time") {
        return discharge_label(DISCHARGE_BUCKETS.at(index));
    }
    if (field == "thermal_range_stay_time") {
        return thermal_range_label(index);
    }
    if (field == "thermal_level_time") {
        return "thermal level " + std::to_string(index);
    }
    return field.starts_with("dev_") ? charger_label(index) : index_label(index);
}

}  // namespace cellwarden::decode

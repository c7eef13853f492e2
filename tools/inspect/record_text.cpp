#include "tools/inspect/record_text.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

#include "common/text.h"
#include "decode/labels.h"
#include "decode/record_layout.h"
#include "state/facts.h"

namespace cellwarden::inspect {
namespace {

using decode::FieldUnit;
using decode::RecordField;
using nlohmann::ordered_json;

constexpr int LABEL_WIDTH = 40;
constexpr size_t LONGEST_LIST = 9;  // fields with more elements are printed as tables

bool is_periodic(const RecordField& field) {
    return field.count == PERIOD_COUNT;
}

bool is_grid(const RecordField& field) {
    return field.name == "vt_cet_table" || field.name == "ct_charge_table";
}

bool is_of_chargers(const RecordField& field) {
    return field.stride == sizeof(DevAttachEntry);
}

// The three version bytes form one value, and so does a text.
bool is_one_value(const RecordField& field) {
    return field.count == 1 || field.unit == FieldUnit::VERSION || field.unit == FieldUnit::TEXT;
}

std::string whole_text(const BattStat& stat, const RecordField& field) {
    if (field.unit == FieldUnit::VERSION) {
        return decode::version_text(stat.version.data());
    }
    return field.unit == FieldUnit::TEXT
               ? "\"" + printable(decode::stored_text(stat, field)) + "\""
               : decode::reading_text(field.unit, decode::stored_value(stat, field, 0));
}

void print_plain_field(std::ostream& out, const BattStat& stat, const RecordField& field) {
    if (is_one_value(field)) {
        out << "  " << std::left << std::setw(NAME_WIDTH) << field.name << whole_text(stat, field)
            << '\n';
        return;
    }
    out << "  " << field.name << '\n';
    for (size_t i = 0; i < field.count; i++) {
        out << "    " << std::left << std::setw(NAME_WIDTH - 2)
            << decode::element_label(field.name, i)
            << decode::reading_text(field.unit, decode::stored_value(stat, field, i)) << '\n';
    }
}

// Prints a grid without the rows and columns that contain only zeros.
void print_grid(std::ostream& out, const BattStat& stat, const RecordField& field,
                const std::string& title, double per_unit, int digits,
                const std::function<std::string(size_t)>& row_label) {
    const auto cell = [&](size_t row, size_t column) {
        return decode::stored_value(stat, field, row * TEMPERATURE_BIN_COUNT + column);
    };
    const size_t rows = field.count / TEMPERATURE_BIN_COUNT;
    std::vector<size_t> columns;
    for (size_t warmer = TEMPERATURE_BIN_COUNT; warmer > 0; warmer--) {  // cold to hot
        const size_t column = warmer - 1;
        for (size_t row = 0; row < rows; row++) {
            if (cell(row, column) != 0) {
                columns.push_back(column);
                break;
            }
        }
    }
    out << '\n' << field.name << ": " << title << '\n';
    if (columns.empty()) {
        out << "  no counts yet\n";
        return;
    }
    out << "  " << std::setw(14) << "";
    for (const size_t column : columns) {
        out << std::right << std::setw(12) << decode::temperature_bin_label(column);
    }
    out << " degC\n";
    for (size_t row = 0; row < rows; row++) {
        if (std::all_of(columns.begin(), columns.end(),
                        [&](size_t column) { return cell(row, column) == 0; })) {
            continue;
        }
        out << "  " << std::left << std::setw(14) << row_label(row) << std::right;
        for (const size_t column : columns) {
            out << std::setw(12)
                << decode::plain_number(static_cast<double>(cell(row, column)) / per_unit, digits);
        }
        out << '\n';
    }
}

void print_chargers(std::ostream& out, const BattStat& stat) {
    out << "\ndev_attach: chargers by class\n  " << std::left << std::setw(LABEL_WIDTH) << ""
        << std::right << std::setw(12) << "attachments" << std::setw(18) << "time attached"
        << std::setw(14) << "full charges" << '\n';
    for (size_t i = 0; i < stat.dev_attach.size(); i++) {
        const DevAttachEntry& entry = stat.dev_attach[i];
        if ((entry.dev_attach_count | entry.dev_attach_total_time | entry.dev_charge_count) == 0) {
            continue;
        }
        out << "  " << std::left << std::setw(LABEL_WIDTH)
            << decode::element_label("dev_attach_count", i) << std::right << std::setw(12)
            << entry.dev_attach_count << std::setw(18)
            << decode::reading_text(FieldUnit::SECONDS, entry.dev_attach_total_time)
            << std::setw(14)
            << decode::plain_number(decode::reading_number(FieldUnit::SOC, entry.dev_charge_count),
                                    4)
            << '\n';
    }
}

bool is_undecided(const RecordField& field, int64_t stored) {
    return field.unit == FieldUnit::LEVEL && stored == UINT8_MAX;
}

std::vector<const RecordField*> periodic_fields() {
    std::vector<const RecordField*> fields;
    for (const RecordField& field : decode::record_fields()) {
        if (is_periodic(field)) {
            fields.push_back(&field);
        }
    }
    return fields;
}

// Returns the number of periods up to the last period with a value.
size_t known_periods(const BattStat& stat, const std::vector<const RecordField*>& fields) {
    for (size_t period = PERIOD_COUNT; period > 0; period--) {
        for (const RecordField* field : fields) {
            const int64_t stored = decode::stored_value(stat, *field, period - 1);
            if (stored != 0 && !is_undecided(*field, stored)) {
                return period;
            }
        }
    }
    return 0;
}

void print_periods(std::ostream& out, const BattStat& stat) {
    const std::vector<const RecordField*> fields = periodic_fields();
    const size_t periods = known_periods(stat, fields);
    out << "\nTen-day periods of online time (column = field)\n";
    for (size_t i = 0; i < fields.size(); i++) {
        const char* const unit = decode::reading_unit(fields[i]->unit);
        out << "  " << static_cast<char>('A' + i) << " = " << fields[i]->name
            << (*unit == '\0' ? "" : ", ") << unit << '\n';
    }
    if (periods == 0) {
        out << "  no counts yet\n";
        return;
    }
    out << "  from day" << std::right;
    for (size_t i = 0; i < fields.size(); i++) {
        out << std::setw(10) << static_cast<char>('A' + i);
    }
    out << '\n';
    for (size_t period = 0; period < periods; period++) {
        out << "  " << std::setw(8) << period * 10;
        for (const RecordField* field : fields) {
            const int64_t stored = decode::stored_value(stat, *field, period);
            out << std::setw(10)
                << (is_undecided(*field, stored)
                        ? "-"
                        : decode::plain_number(decode::reading_number(field->unit, stored), 6));
        }
        out << '\n';
    }
}

ordered_json stored_json(const BattStat& stat, const RecordField& field, size_t index) {
    const int64_t stored = decode::stored_value(stat, field, index);
    return field.is_signed ? ordered_json(stored) : ordered_json(static_cast<uint64_t>(stored));
}

ordered_json field_json(const BattStat& stat, const RecordField& field) {
    ordered_json stored = ordered_json::array();
    ordered_json values = ordered_json::array();
    for (size_t i = 0; i < field.count; i++) {
        stored.push_back(stored_json(stat, field, i));
        values.push_back(decode::reading_json(field.unit, decode::stored_value(stat, field, i)));
    }
    ordered_json json = {{"unit", decode::reading_unit(field.unit)}};
    if (field.unit == FieldUnit::WALL_S) {
        json["unit"] = "date";
    }
    if (field.unit == FieldUnit::TEXT) {
        json["value"] = decode::stored_text(stat, field);
    } else if (field.unit == FieldUnit::VERSION) {
        json["value"] = decode::version_text(stat.version.data());
    } else {
        json["value"] = field.count == 1 ? values.front() : values;
    }
    json["stored"] = field.count == 1 ? stored.front() : stored;
    return json;
}

}  // namespace

void print_record(std::ostream& out, const BattStat& stat) {
    for (const RecordField& field : decode::record_fields()) {
        if (is_one_value(field) || (field.count <= LONGEST_LIST && !is_of_chargers(field))) {
            print_plain_field(out, stat, field);
        }
    }
    for (const RecordField& field : decode::record_fields()) {
        if (!is_grid(field)) {
            continue;
        }
        const bool by_voltage = field.unit == FieldUnit::SECONDS;
        print_grid(out, stat, field,
                   by_voltage ? "hours per voltage (V) and battery temperature"
                              : "full charges put in per state of charge (%) and temperature",
                   by_voltage ? SECONDS_PER_HOUR : 1e4, by_voltage ? 2 : 4, [=](size_t bin) {
                       return by_voltage ? decode::voltage_bin_label(bin)
                                         : decode::soc_bin_label(bin);
                   });
    }
    print_chargers(out, stat);
    print_periods(out, stat);
}

ordered_json record_json(const BattStat& stat) {
    ordered_json json = ordered_json::object();
    for (const RecordField& field : decode::record_fields()) {
        json[std::string(field.name)] = field_json(stat, field);
    }
    return json;
}

}  // namespace cellwarden::inspect

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <iomanip>
#include <iostream>

#include "common/input.h"
#include "common/text.h"
#include "decode/reading.h"
#include "decode/verdict.h"
#include "platform/unit_store.h"
#include "tools/inspect/commands.h"

namespace cellwarden::inspect {
namespace {

using Bytes = std::vector<uint8_t>;

// Returns the number in up to eight little-endian bytes.
int64_t number_of(const Bytes& bytes) {
    uint64_t number = 0;
    memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    return static_cast<int64_t>(number);
}

std::string mode_text(const Bytes& bytes, int64_t value_of_mode) {
    const int64_t number = number_of(bytes);
    return std::to_string(number) + (number == value_of_mode ? ", in force" : ", not in force");
}

std::string record_text(const Bytes& bytes) {
    const decode::Judgement judgement = decode::judge_record(bytes);
    return judgement.name + " at the next start: " + judgement.reason;
}

struct UnitRow {
    Unit unit;
    const char* name;
    size_t min_size;
    size_t max_size;
    std::string (*text)(const Bytes&);
};

constexpr size_t ANY_SIZE = SIZE_MAX;

constexpr std::array UNITS = {
    UnitRow{UNIT_STARTUP_PROCESS, "start-up process", 1, 4,
            [](const Bytes& bytes) { return mode_text(bytes, 171); }},
    UnitRow{UNIT_HEAT_TIME, "latest connector heat episode", 8, 8,
            [](const Bytes& bytes) {
                return decode::reading_text(decode::FieldUnit::WALL_S, number_of(bytes));
            }},
    UnitRow{UNIT_CHARGE_DISABLE, "charging disabled", 1, 1,
            [](const Bytes& bytes) { return mode_text(bytes, 1); }},
    UnitRow{UNIT_HEAT_COUNT, "connector heat episodes", 1, 1,
            [](const Bytes& bytes) { return std::to_string(number_of(bytes)); }},
    UnitRow{UNIT_BATT_STAT, "statistics record", 0, ANY_SIZE, record_text},
    UnitRow{UNIT_PRODUCTION_DATE, "production date, YYMMDD", 6, 6,
            [](const Bytes& bytes) {
                return printable({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
            }},
    UnitRow{UNIT_FIRST_USAGE_DATE, "first usage date", 4, ANY_SIZE,
            [](const Bytes& bytes) {
                return decode::reading_text(decode::FieldUnit::WALL_S,
                                            number_of({bytes.begin(), bytes.begin() + 4}));
            }},
    UnitRow{UNIT_CYCLE_COUNT, "whole cycles", 4, 4,
            [](const Bytes& bytes) { return std::to_string(number_of(bytes)); }},
    UnitRow{UNIT_STATE_OF_HEALTH, "state of health", 2, 2,
            [](const Bytes& bytes) { return std::to_string(number_of(bytes)) + " %"; }},
    UnitRow{UNIT_CAMERA_CALIBRATION, "camera calibration", 1, 1,
            [](const Bytes& bytes) { return mode_text(bytes, 1); }},
};

const UnitRow* find_unit(const std::string& name) {
    uint32_t number = 0;
    const char* const end = name.data() + name.size();
    if (std::from_chars(name.data(), end, number).ptr != end) {
        return nullptr;
    }
    for (const UnitRow& row : UNITS) {
        if (row.unit == number) {
            return &row;
        }
    }
    return nullptr;
}

std::string size_fault(const UnitRow& row, size_t size) {
    return std::to_string(size) + " bytes, expected " +
           (row.max_size == ANY_SIZE ? "at least " : "") + std::to_string(row.min_size) +
           (row.max_size != ANY_SIZE && row.max_size != row.min_size
                ? " to " + std::to_string(row.max_size)
                : "");
}

// Prints one unit. Returns whether its content is valid.
bool print_unit(const std::string& name, const Bytes& bytes) {
    const UnitRow* const row = find_unit(name);
    std::cout << std::left << std::setw(7) << printable(name) << std::setw(31)
              << (row == nullptr ? "unknown to the daemon" : row->name) << std::right
              << std::setw(7) << decode::grouped(bytes.size())
              << (bytes.size() == 1 ? " byte   " : " bytes  ");
    if (row == nullptr) {
        std::cout << '\n';
        return true;
    }
    const bool fits = bytes.size() >= row->min_size && bytes.size() <= row->max_size;
    std::cout << (fits ? row->text(bytes) : "wrong size: " + size_fault(*row, bytes.size()))
              << '\n';
    return fits && (row->unit != UNIT_BATT_STAT || decode::is_kept(decode::judge_record(bytes)));
}

}  // namespace

int show_units(const std::string& directory) {
    bool sound = true;
    const auto files = files_of(directory);
    if (std::none_of(files.begin(), files.end(),
                     [](const auto& file) { return find_unit(file.filename()) != nullptr; })) {
        throw InputError(directory +
                         ": contains no unit; expected files named by their unit, such as 2491" +
                         (std::filesystem::is_directory(directory + "/units")
                              ? "; did you mean " + directory + "/units?"
                              : ""));
    }
    for (const auto& path : files) {
        sound = print_unit(path.filename(), read_input(path)) && sound;
    }
    return sound ? SOUND : NOT_SOUND;
}

}  // namespace cellwarden::inspect

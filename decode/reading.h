// How stored and sent numbers read: with their unit, as a date, as a length of time.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace cellwarden::decode {

// Units of the statistics record, as its field list names them, and those that only events have.
enum class FieldUnit : uint8_t {
    MARKER,
    VERSION,
    MAH,
    COUNT,
    TEXT,
    WALL_S,    // seconds since 1970; 0 = not yet
    ONLINE_S,  // seconds of online time; 0 = not yet, where it is a milestone
    SECONDS,
    HALF_SOH,  // 0.002 % of design capacity
    PERCENT,
    LEVEL,  // 255, in events 4294967295 = not decided
    SOC,    // 0.01 % of state of charge; 10000 = one full charge
    MA,
    DECIC,  // 0.1 degC; -32768 and 32767 = none yet
    CELL_MV,
    CODE,  // the soft-charge override
    CHARGER,
    ARRHENIUS,     // seconds at about 45 degC and 4.48 V
    MICROPERCENT,  // of design capacity
    MILLI_SOH,     // 0.001 % of design capacity; events only
    UV,            // events only
};

// The unit of reading_number: "%", "degC", "full charges", "s"; empty for a plain number.
const char* reading_unit(FieldUnit unit);

// A stored number in its reading unit: 49250 half units are 98.5 (%).
double reading_number(FieldUnit unit, int64_t stored);

// The same for JSON: dates as ISO 8601 text, null for what is not there yet.
nlohmann::ordered_json reading_json(FieldUnit unit, int64_t stored);

// The same for people, with the unit: "98.500 %", "2026-03-01 07:12:45 UTC", "12 d 07:00:31",
// "not decided".
std::string reading_text(FieldUnit unit, int64_t stored);

// "2026-03-01 07:12:45 UTC"; a number that no calendar has is shown as the number.
std::string date_text(int64_t wall_s);

// A number with so many digits after the point and none that say nothing: "98.5".
std::string plain_number(double number, int digits);

// Offset in a file, as in "0x0E9C".
std::string offset_text(size_t offset);

// 9728 as "9,728".
std::string grouped(uint64_t number);

}  // namespace cellwarden::decode

// Converts stored and sent numbers for people: with a unit, as a date, as a duration.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace cellwarden::decode {

// The units of the record's field list (state/batt_stat_fields.inc), and two that only events use.
enum class FieldUnit : uint8_t {
    MARKER,
    VERSION,
    MAH,
    COUNT,
    TEXT,
    WALL_S,    // seconds since 1970; 0 = not yet
    ONLINE_S,  // seconds of online time; in a milestone 0 = not yet
    SECONDS,
    HALF_SOH,  // 0.002 % of design capacity
    PERCENT,
    LEVEL,  // 255, in events 4294967295 = not decided
    SOC,    // 0.01 % of state of charge; 10000 = one full charge
    MA,
    DECIC,  // 0.1 degC; -32768 and 32767: no value yet
    CELL_MV,
    CODE,  // the soft-charge override
    CHARGER,
    ARRHENIUS,     // seconds at about 45 degC and 4.48 V
    MICROPERCENT,  // of design capacity
    MILLI_SOH,     // 0.001 % of design capacity; events only
    UV,            // events only
};

inline constexpr int64_t LAST_SECOND = 253'402'300'799;  // last second of the year 9999

// Returns the unit of reading_number: "%", "degC", "full charges", "s"; empty for a plain number.
const char* reading_unit(FieldUnit unit);

// Returns the number in that unit: 49250 of HALF_SOH are 98.5 (%).
double reading_number(FieldUnit unit, int64_t stored);

// Returns the number for JSON: dates as ISO 8601 text, null if there is no value yet.
nlohmann::ordered_json reading_json(FieldUnit unit, int64_t stored);

// Returns the number as text with its unit: "98.500 %", "2026-03-01 07:12:45 UTC", "12 d 07:00:31",
// "not decided".
std::string reading_text(FieldUnit unit, int64_t stored);

// Returns the number with at most `digits` decimals, without trailing zeros: "98.5".
std::string plain_number(double number, int digits);

// Returns an offset as hexadecimal text: "0x0E9C".
std::string offset_text(size_t offset);

// Returns the number with thousands separators: "9,728".
std::string grouped(uint64_t number);

}  // namespace cellwarden::decode

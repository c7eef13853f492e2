// The battery passport: the values that eco-design rules ask a phone to report. The daemon computes
// them or reads them from the unit store, and writes them to the battery driver. It also stores
// cycle count and state of health in the unit store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Publishes manufacturing date (repaired on phones with a wrong stored date), first usage date,
// cycle count, full-charge capacity and state of health, in this order: the dates once per start,
// the other values in the first call and when they change. Called in every full cycle with a known
// battery.
void update_eu_eco_system_values(const Device& device, ServiceState& state);

// --- production_date.cpp: the battery's production date as stored, and the repair of known wrong
// dates

inline constexpr size_t PRODUCTION_DATE_SIZE = 6;  // YYMMDD, ASCII digits, no terminator

// Returns the seconds since 1970 at 00:00:00 UTC of the date, low 32 bits. Years count from 2000; a
// part that cannot be parsed counts as 99. Returns nullopt if the month is not 1 to 12 or the day
// not 1 to 31. Excess days of a month continue in the next month: 250431 is 1 May 2025.
std::optional<int32_t> production_date_seconds(const char (&date)[PRODUCTION_DATE_SIZE + 1]);

// Rewrites the stored production date if a repair is pending and the table of fixes has this phone.
// Returns whether the stored date may be read: false if the repair must be tried again.
bool repair_production_date(const Device& device, PassportMemory& memory);

}  // namespace cellwarden

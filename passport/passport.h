// The battery passport: the values that eco-design rules ask a phone to report. The daemon computes
// or fetches them and writes them into the battery driver; cycle count and state of health are kept
// in the unit store as well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Manufacturing date (with its repair on phones where a wrong one was stored), first usage date,
// cycle count, full-charge capacity, state of health, in this order; each is written when it first
// becomes known and when it changes. Called in every full cycle with a known battery.
void update_eu_eco_system_values(const Device& device, ServiceState& state);

// --- production_date.cpp: the battery's production date, its form in the unit store, and the
// repair of known-wrong ones

inline constexpr size_t PRODUCTION_DATE_SIZE = 6;  // YYMMDD, ASCII digits, no terminator

// Seconds since 1970 of 00:00:00 UTC on the day that a date text names, low 32 bits. Years count
// from 2000; what cannot be parsed counts as 99. None where month or day are out of range (1 to 12,
// 1 to 31); a day that its month does not have is carried over into the next month.
std::optional<int32_t> production_date_seconds(const char (&date)[PRODUCTION_DATE_SIZE + 1]);

// Rewrites the stored production date where one is pending to be repaired and this phone is known.
// Returns whether the stored date may be read: false while the repair has to be tried again.
bool repair_production_date(const Device& device, PassportMemory& memory);

}  // namespace cellwarden

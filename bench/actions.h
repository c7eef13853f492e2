// Applies the actions of a scenario to the phone.
#pragma once

#include <string>
#include <vector>

#include "bench/happening.h"
#include "bench/scenario.h"
#include "phone/phone.h"

namespace cellwarden::bench {

// Applies an action to the phone. Actions on attribute files and faults have no effect here.
// Returns the uevents that a phone sends after the change.
std::vector<UeventSent> change_phone(phone::Phone& phone, const Action& action);

// Returns a line that describes the action.
std::string action_text(const Action& action);

// Returns "PD 27 W", or "unplugged".
std::string source_text(const phone::Charger& charger);

}  // namespace cellwarden::bench

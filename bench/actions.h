// What a scenario's action does to the phone.
#pragma once

#include <string>
#include <vector>

#include "bench/happening.h"
#include "bench/scenario.h"
#include "phone/phone.h"

namespace cellwarden::bench {

// Changes the phone as the action says; actions on files and faults change nothing here. Returns
// the uevents by which a phone tells of the change.
std::vector<UeventSent> change_phone(phone::Phone& phone, const Action& action);

// One line for people.
std::string action_text(const Action& action);

// "PD 27 W", or "unplugged".
std::string source_text(const phone::Charger& charger);

}  // namespace cellwarden::bench

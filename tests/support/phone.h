// The phone of a test: a stand-in with its start values before every test.
#pragma once

#include <string>
#include <vector>

#include "phone/stand_in.h"
#include "platform/sysfs_params.h"
#include "support/snapshot.h"

namespace cellwarden::test {

extern StandIn phone;
extern const Device device;  // bound to `phone`

using Calls = std::vector<std::string>;

// Returns every effect since the test's start or the last clear_calls() as the text of line_of, with only
// the last two parts of an attribute's path.
Calls calls();
void clear_calls();

// Return the texts of the log lines among these effects, and the effects of one kind, including failed ones.
Calls logs();
std::vector<Effect> effects_of(Effect::Kind kind);

// Creates or replaces an attribute; returns its text, or "(no file)".
void write_attribute(SysfsParamId id, const std::string& text);
std::string read_attribute(SysfsParamId id);

}  // namespace cellwarden::test

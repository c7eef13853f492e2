// The phone of a test: the stand-in, fresh before every test.
#pragma once

#include <string>
#include <vector>

#include "phone/stand_in.h"
#include "platform/sysfs_params.h"
#include "support/snapshot.h"

namespace cellwarden::test {

extern StandIn phone;
extern const Device device;  // the seam on it

using Calls = std::vector<std::string>;

// Every effect since the test's start or the last clear_calls(), as line_of shows it; an attribute
// by the last two parts of its path.
Calls calls();
void clear_calls();

// Texts of the log lines among them, and the events and units written, failed ones included.
Calls logs();
std::vector<Effect> effects_of(Effect::Kind kind);

// Makes or replaces an attribute, and its text now, or "(no file)".
void write_attribute(SysfsParamId id, const std::string& text);
std::string read_attribute(SysfsParamId id);

}  // namespace cellwarden::test

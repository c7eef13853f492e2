// The phone of a test: the stand-in, fresh before every test.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "phone/stand_in.h"
#include "platform/sysfs_params.h"

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

// A parameter's value as a test gives it: an integer, or the text of its attribute, from which the
// value then follows as in the daemon. The text must outlive the snapshot.
struct Given {
    SysfsParamId id;
    std::variant<int32_t, const char*> value;
};
void set_param(SysfsParams& snapshot, const Given& given);

// The snapshot of a full cycle on a phone that has only the given attributes.
SysfsParams snapshot_of(const std::vector<Given>& given);

}  // namespace cellwarden::test

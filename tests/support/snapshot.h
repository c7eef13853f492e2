// Snapshots made without any attribute file.
#pragma once

#include <variant>
#include <vector>

#include "platform/sysfs_params.h"

namespace cellwarden::test {

// A parameter's value as a test gives it: an integer, or the text of its attribute file, from which
// the value then follows as in the daemon. The text must outlive the snapshot.
struct Given {
    SysfsParamId id;
    std::variant<int32_t, const char*> value;
};
void set_param(SysfsParams& snapshot, const Given& given);

// The snapshot of a full cycle on a phone that has only the given attributes.
SysfsParams snapshot_of(const std::vector<Given>& given);

}  // namespace cellwarden::test

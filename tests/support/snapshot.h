// Snapshots that are made without attribute files.
#pragma once

#include <variant>
#include <vector>

#include "platform/sysfs_params.h"

namespace cellwarden::test {

// A parameter's value in a test: an integer, or the text of its attribute file, which is converted as in
// the daemon. The text must outlive the snapshot.
struct Given {
    SysfsParamId id;
    std::variant<int32_t, const char*> value;
};
void set_param(SysfsParams& snapshot, const Given& given);

// Returns the snapshot of a full cycle on a phone that has only the given attributes.
SysfsParams snapshot_of(const std::vector<Given>& given);

}  // namespace cellwarden::test

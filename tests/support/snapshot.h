// Snapshots that are made without attribute files.
#pragma once

#include <vector>

#include "platform/sysfs_params.h"

namespace cellwarden::test {

struct Given {
    SysfsParamId id;
    int32_t value;
};

// Returns the snapshot of a full cycle on a phone that has only the given attributes.
SysfsParams snapshot_of(const std::vector<Given>& given);

}  // namespace cellwarden::test

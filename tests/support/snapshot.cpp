#include "support/snapshot.h"

#include "platform/sysfs_io.h"

namespace cellwarden::test {

SysfsParams snapshot_of(const std::vector<Given>& given) {
    SysfsParams snapshot;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        parse_sysfs_value(SysfsParamTable[id], snapshot[id]);
    }
    for (const auto& [id, value] : given) {
        snapshot[id].kind = KIND_INTEGER;
        snapshot[id].value.integer = value;
    }
    return snapshot;
}

}  // namespace cellwarden::test

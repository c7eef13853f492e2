#include "support/snapshot.h"

#include "platform/sysfs_io.h"

namespace cellwarden::test {

void set_param(SysfsParams& snapshot, const Given& given) {
    SysfsParamValue& slot = snapshot[given.id];
    if (const char* const* text = std::get_if<const char*>(&given.value)) {
        slot.text = *text;
        parse_sysfs_value(SysfsParamTable[given.id], slot);
    } else {
        slot.kind = KIND_INTEGER;
        slot.value.integer = std::get<int32_t>(given.value);
    }
}

SysfsParams snapshot_of(const std::vector<Given>& given) {
    SysfsParams snapshot;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        set_param(snapshot, {static_cast<SysfsParamId>(id), ""});
    }
    for (const Given& one : given) {
        set_param(snapshot, one);
    }
    return snapshot;
}

}  // namespace cellwarden::test

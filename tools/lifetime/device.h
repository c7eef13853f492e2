// What the daemon's rules find around them in the simulator: the phone's device libraries and the
// write side of the kernel's attributes, in this process and without files. device.cpp defines the
// functions of platform/device and platform/sysfs_io.h that the rules call.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "platform/sysfs_params.h"

namespace cellwarden::lifetime {

struct Device {
    std::map<uint32_t, std::string> units;  // the persistent store
    std::function<void(std::string_view line)> on_log;
    std::function<void(std::string_view category, std::string_view name, std::string_view bytes)>
        on_event;
    std::function<void(SysfsParamId id, int32_t value)> on_attribute_write;
};

// The one device of the process. A callback that is not set drops what it would get.
extern Device device;

}  // namespace cellwarden::lifetime

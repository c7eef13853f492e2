// The simulated phone under /sys: its attribute, thermal zone and wakelock files.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "bench/attribute_tree.h"
#include "bench/watch.h"
#include "phone/phone.h"
#include "platform/sysfs_params.h"

namespace cellwarden::bench {

inline constexpr const char* WAKE_LOCK_PATH = "/sys/power/wake_lock";
inline constexpr const char* WAKE_UNLOCK_PATH = "/sys/power/wake_unlock";
// The daemon reads it in full cycles only.
inline constexpr const char* FULL_CYCLE_PATH = "/sys/class/power_supply/battery/capacity";

struct PhoneFiles {
    AttributeTree tree;
    // By path; the lower id if two parameters share a path.
    std::map<std::string, SysfsParamId> ids;
    std::set<std::string> held;  // paths with a text that the phone does not change
    bool driver_ready = false;   // the attributes of the charger driver exist
};

// Creates all files except those of the charger driver, whose folder is empty, and watches every
// folder.
void create_phone_files(PhoneFiles& files, const phone::Phone& phone, FolderWatch& watch);

// Creates the attributes of the charger driver.
void show_driver_files(PhoneFiles& files, const phone::Phone& phone);

// Updates the live attributes.
void refresh_phone_files(PhoneFiles& files, const phone::Phone& phone);

// Holds the attribute with that name ("battery/health") at `text`; without a text it follows the
// phone again.
void hold_attribute(PhoneFiles& files, const phone::Phone& phone, const std::string& name,
                    const std::optional<std::string>& text);

struct AttributeWrite {
    std::string name;
    std::string old_text;
    std::string new_text;
};

// Reads what the daemon wrote and passes it to the phone. Returns nullopt if the path does not
// belong to a parameter.
std::optional<AttributeWrite> take_attribute_write(PhoneFiles& files, phone::Phone& phone,
                                                   const std::string& path);

}  // namespace cellwarden::bench

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
// Read in every full cycle and in no other.
inline constexpr const char* FULL_CYCLE_PATH = "/sys/class/power_supply/battery/capacity";

struct PhoneFiles {
    AttributeTree tree;
    std::map<std::string, SysfsParamId> ids;  // by path; the lower id where two share one
    std::set<std::string> held;               // paths whose text a scenario holds
    bool driver_ready = false;                // the charger driver's attributes are there
};

// Makes all files but the charger driver's, whose folder stays empty, and watches every folder.
void create_phone_files(PhoneFiles& files, const phone::Phone& phone, FolderWatch& watch);

// The charger driver comes up: its attributes appear.
void show_driver_files(PhoneFiles& files, const phone::Phone& phone);

// Lets the attributes follow the phone.
void refresh_phone_files(PhoneFiles& files, const phone::Phone& phone);

// Holds the attribute of that name ("battery/health") at `text`, or lets it follow the phone again.
void hold_attribute(PhoneFiles& files, const phone::Phone& phone, const std::string& name,
                    const std::optional<std::string>& text);

struct AttributeWrite {
    std::string name;
    std::string old_text;
    std::string new_text;
};

// Takes in a write of the daemon and lets the phone obey it; none where the path is no parameter's.
std::optional<AttributeWrite> take_attribute_write(PhoneFiles& files, phone::Phone& phone,
                                                   const std::string& path);

}  // namespace cellwarden::bench

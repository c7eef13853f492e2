// The texts of the phone's 134 attributes. Live attributes follow the state of the phone; the
// others keep their start text unless the daemon writes them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "phone/attribute_name.h"
#include "phone/phone.h"
#include "platform/sysfs_params.h"

namespace cellwarden::phone {

struct AttributeFile {
    SysfsParamId id;
    std::string text;  // without a newline
};

// Returns the path of a parameter's attribute file. The phone provides the number of the thermal
// zone.
std::string attribute_path(const Phone& phone, SysfsParamId id);

// The value of an attribute: a text or a number.
struct AttributeValue {
    SysfsParamId id;
    const char* text;  // points into the phone; nullptr: the value is `number`
    int64_t number;
};

// Return the live attributes, as values and as the texts of their files.
std::vector<AttributeValue> live_values(const Phone& phone);
std::vector<AttributeFile> live_attributes(const Phone& phone);

// Returns the start texts of all other attributes.
std::vector<AttributeFile> start_attributes(const Phone& phone);

// Passes a text that the daemon wrote to the charger driver. Only the switches of Charger have an
// effect.
void obey_attribute_write(Phone& phone, SysfsParamId id, const std::string& text);

}  // namespace cellwarden::phone

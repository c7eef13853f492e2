// The texts of the phone's 134 attributes. Some follow from the phone's state; the others keep what
// they start with until the daemon writes them, or for good.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "phone/phone.h"
#include "platform/sysfs_params.h"

namespace cellwarden::phone {

struct AttributeText {
    SysfsParamId id;
    std::string text;  // without a newline
};

// Path of a parameter's attribute file; the thermal zone's number is the phone's.
std::string attribute_path(const Phone& phone, SysfsParamId id);

// The last two components of a path, as people name an attribute: "battery/capacity".
std::string_view attribute_name(std::string_view path);

// An attribute's value before it becomes a file's text.
struct AttributeValue {
    SysfsParamId id;
    const char* text;  // valid as long as the phone; nullptr: the value is `number`
    int64_t number;
};

// Returns the attributes that follow from the phone's state, as values and as the files' texts.
std::vector<AttributeValue> live_values(const Phone& phone);
std::vector<AttributeText> live_attributes(const Phone& phone);

// All the others, as they read when the phone starts.
std::vector<AttributeText> start_attributes(const Phone& phone);

// Hands what the daemon wrote to the charger driver. Attributes that the driver does not obey
// change nothing.
void obey_attribute_write(Phone& phone, SysfsParamId id, const std::string& text);

}  // namespace cellwarden::phone

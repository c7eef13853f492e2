#include "tools/lifetime/readings.h"

#include <cstring>

#include "phone/phone_attributes.h"

namespace cellwarden::lifetime {
namespace {

// Returns the number for a text in the parameter's table.
SysfsValue enum_value(const SysfsEnumEntry* row, const char* text) {
    while (row->text != nullptr && strcmp(row->text, text) != 0) {
        row++;
    }
    return row->value;
}

}  // namespace

void read_phone(const phone::Phone& phone, SysfsParams& snapshot) {
    for (const phone::AttributeValue& value : live_values(phone)) {
        SysfsParamValue& slot = snapshot[value.id];
        slot.text = value.text != nullptr ? value.text : "";
        slot.kind = KIND_INTEGER;
        if (value.text == nullptr) {
            slot.value.integer = static_cast<int32_t>(value.number);
        } else if (SysfsParamTable[value.id].format == FORMAT_TEXT) {
            slot.kind = KIND_TEXT;
            slot.value.text = value.text;
        } else {
            slot.value = enum_value(SysfsParamTable[value.id].enum_table, value.text);
        }
    }
}

}  // namespace cellwarden::lifetime

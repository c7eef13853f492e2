#include "support/phone.h"

#include <algorithm>
#include <iterator>

#include "phone/phone_attributes.h"
#include "platform/sysfs_io.h"

namespace cellwarden::test {

StandIn phone;
const Device device = device_of(phone);

Calls calls() {
    Calls lines;
    for (Effect effect : phone.effects) {
        effect.name = phone::attribute_name(effect.name);
        lines.push_back(line_of(effect));
    }
    return lines;
}

void clear_calls() {
    phone.effects.clear();
}

std::vector<Effect> effects_of(Effect::Kind kind) {
    std::vector<Effect> found;
    std::copy_if(phone.effects.begin(), phone.effects.end(), std::back_inserter(found),
                 [=](const Effect& effect) { return effect.kind == kind; });
    return found;
}

Calls logs() {
    Calls texts;
    for (const Effect& effect : effects_of(Effect::Kind::LOG)) {
        texts.push_back(effect.bytes);
    }
    return texts;
}

void write_attribute(SysfsParamId id, const std::string& text) {
    phone.attributes[SysfsParamTable[id].path] = text;
}

std::string read_attribute(SysfsParamId id) {
    const auto found = phone.attributes.find(SysfsParamTable[id].path);
    return found != phone.attributes.end() ? found->second : "(no file)";
}

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

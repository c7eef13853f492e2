#include "support/phone.h"

#include <algorithm>
#include <iterator>

#include "phone/attribute_name.h"

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

}  // namespace cellwarden::test

#include "bench/actions.h"

#include <cstdio>

namespace cellwarden::bench {
namespace {

UeventSent supply_uevent(const char* name) {
    return {"power_supply", name};
}

// A new source replaces the one that is connected.
std::vector<UeventSent> attach(phone::Phone& phone, phone::Source source, const std::string& type,
                               double watts) {
    std::vector<UeventSent> uevents;
    const phone::Source before = phone.charger.source;
    phone.charger.source = source;
    phone.charger.type = type;
    phone.charger.watts = watts;
    if (before == phone::Source::USB || source == phone::Source::USB) {
        uevents.push_back(supply_uevent("usb"));
    }
    if (before == phone::Source::WIRELESS || source == phone::Source::WIRELESS) {
        uevents.push_back(supply_uevent("wireless"));
    }
    uevents.push_back(supply_uevent("battery"));
    return uevents;
}

struct Changer {
    phone::Phone& phone;

    using Uevents = std::vector<UeventSent>;

    Uevents operator()(const PlugUsb& plug) const {
        return attach(phone, phone::Source::USB, plug.type, plug.watts);
    }
    Uevents operator()(const PlugWireless& plug) const {
        return attach(phone, phone::Source::WIRELESS, plug.type, plug.watts);
    }
    Uevents operator()(const Unplug&) const { return attach(phone, phone::Source::NONE, "", 0); }
    Uevents operator()(const SetAmbient& ambient) const {
        phone.ambient_c = ambient.temp_c;
        return {};
    }
    Uevents operator()(const SetBatteryTemp& battery) const {
        phone.battery.temp_c = battery.temp_c;
        return {supply_uevent("battery")};
    }
    Uevents operator()(const SetLoad& load) const {
        phone.load_ma = load.load_ma;
        return {};
    }
    Uevents operator()(const SetThermalLevel& thermal) const {
        phone.charger.thermal_level = thermal.level;
        return {supply_uevent("battery")};
    }
    Uevents operator()(const SetShutdownPhase& shutdown) const {
        phone.shutdown_phase = shutdown.phase;
        return {supply_uevent("battery")};
    }
    Uevents operator()(const OverrideAttribute&) const { return {}; }
    Uevents operator()(const SwitchFault&) const { return {}; }
    Uevents operator()(const SendUevent& uevent) const { return {{uevent.subsystem, uevent.name}}; }
};

std::string number(double value, const char* unit) {
    char text[64];
    (void)snprintf(text, sizeof text, "%g %s", value, unit);
    return text;
}

struct Teller {
    std::string operator()(const PlugUsb& plug) const {
        return "USB charger plugged in: " + plug.type + " " + number(plug.watts, "W");
    }
    std::string operator()(const PlugWireless& plug) const {
        return "phone placed on a wireless charger: " + plug.type + " " + number(plug.watts, "W");
    }
    std::string operator()(const Unplug&) const { return "charger removed"; }
    std::string operator()(const SetAmbient& ambient) const {
        return "ambient temperature " + number(ambient.temp_c, "°C");
    }
    std::string operator()(const SetBatteryTemp& battery) const {
        return "battery temperature " + number(battery.temp_c, "°C");
    }
    std::string operator()(const SetLoad& load) const {
        return "load " + number(load.load_ma, "mA");
    }
    std::string operator()(const SetThermalLevel& thermal) const {
        return "thermal level " + std::to_string(thermal.level);
    }
    std::string operator()(const SetShutdownPhase& shutdown) const {
        return "shutdown phase " + std::to_string(shutdown.phase);
    }
    std::string operator()(const OverrideAttribute& attribute) const {
        return attribute.name + (attribute.text.has_value() ? " held at '" + *attribute.text + "'"
                                                            : " follows the phone again");
    }
    std::string operator()(const SwitchFault& fault) const {
        return "fault " + fault.name + (fault.on ? " on" : " off");
    }
    std::string operator()(const SendUevent& uevent) const {
        return "uevent from " + uevent.subsystem + " " + uevent.name;
    }
};

}  // namespace

std::vector<UeventSent> change_phone(phone::Phone& phone, const Action& action) {
    return std::visit(Changer{phone}, action);
}

std::string action_text(const Action& action) {
    return std::visit(Teller{}, action);
}

std::string source_text(const phone::Charger& charger) {
    return charger.source == phone::Source::NONE ? "unplugged"
                                                 : charger.type + " " + number(charger.watts, "W");
}

}  // namespace cellwarden::bench

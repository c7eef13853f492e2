// The phone under a history, on the present fakes.
#pragma once

#include <nlohmann/json.hpp>

#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {

using test::bytes_of;

inline nlohmann::json attribute_writes;
inline std::set<std::string> refused_writes;

inline std::string hex_of(const std::string& bytes) {
    std::string hex;
    char pair[3];
    for (const char byte : bytes) {
        snprintf(pair, sizeof pair, "%02x", static_cast<uint8_t>(byte));
        hex += pair;
    }
    return hex;
}

class Adapter {
public:
    using Json = nlohmann::json;
    void set_property(const std::string& key, const std::string& value) { test::phone.properties[key] = value; }
    void set_attributes(const Json& set) {
        for (const auto& [path, text] : set.items()) {
            if (path == "thermal zone") {
                test::write_attribute("/sys/class/thermal/thermal_zone7/type", "sdm_therm\n");
                test::write_attribute("/sys/class/thermal/thermal_zone7/temp", text.get<std::string>());
            } else {
                test::write_attribute(path, text.get<std::string>());
            }
        }
    }
    void set_unit(uint32_t unit, const std::string& bytes) { test::phone.units[unit] = bytes; }
    void set_units(const Json& set) {
        for (const auto& [unit, hex] : set.items()) {
            test::phone.units.erase(static_cast<uint32_t>(std::stoul(unit)));
            if (!hex.is_null()) {
                std::string bytes;
                const std::string text = hex;
                for (size_t i = 0; i < text.size(); i += 2) bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
                set_unit(static_cast<uint32_t>(std::stoul(unit)), bytes);
            }
        }
    }
    void set_faults(const Json& faults, const Json& imei) {
        auto numbers = [&](const char* key) { return faults.value(key, std::set<uint32_t>{}); };
        test::phone.failing_reads = numbers("unit_read");
        test::phone.failing_writes = numbers("unit_write");
        refused_writes = faults.value("param_write", std::set<std::string>{});
        refused_writes.merge(faults.value("param_store_error", std::set<std::string>{}));
        test::phone.ondra_missing = faults.value("ondra_null", false);
        test::phone.ondra_active = faults.value("ondra_active", 1);
        test::phone.imei.clear();
        if (!imei.is_null() && !faults.value("imei", false)) test::phone.imei[1] = imei.get<std::string>();
    }
    Json take_effects() {
        Json effects = Json::array();
        size_t log = 0, unit = 0, event = 0, write = 0;
        for (const std::string& call : test::phone.calls) {
            if (call.starts_with("log ")) effects.push_back({"log", test::phone.log[log++]});
            if (call.starts_with("write ")) {
                const auto& [n, bytes] = test::phone.unit_writes[unit++];
                effects.push_back({"unit", n, hex_of(bytes)});
                if (test::phone.failing_writes.contains(n)) effects.back().push_back("failed");
            }
            if (call.starts_with("event ")) { auto& e = test::phone.events[event++]; effects.push_back({"event", e.category, e.name, hex_of(e.data)}); }
            if (call.starts_with("attribute")) effects.push_back(attribute_writes[write++]);
        }
        test::phone.calls.clear(); test::phone.log.clear(); test::phone.unit_writes.clear(); test::phone.events.clear();
        attribute_writes = Json::array();
        return effects;
    }
};

}  // namespace cellwarden
extern "C" {
int32_t __real__ZN10cellwarden19write_sysfs_integerENS_12SysfsParamIdEi(cellwarden::SysfsParamId id, int32_t value);
int32_t __wrap__ZN10cellwarden19write_sysfs_integerENS_12SysfsParamIdEi(cellwarden::SysfsParamId id, int32_t value) {
    using namespace cellwarden;
    const std::string path = SysfsParamTable[id].path;
    if (refused_writes.contains(path) || test::read_attribute(path) == "(no file)") return -1;
    test::phone.calls.push_back("attribute");
    attribute_writes.push_back({"write", path, std::to_string(value) + "\n"});
    return __real__ZN10cellwarden19write_sysfs_integerENS_12SysfsParamIdEi(id, value);
}
}

// A battery-care policy as data: every figure of the daemon's rules (product/policy.h), and what
// the charger driver does at each level (phone/charger.h). It is read from a JSON file, which
// docs/lifetime.md describes. The daemon itself reads no such file.
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "phone/charger.h"
#include "product/policy.h"

namespace cellwarden {

struct CarePolicy {
    std::string name = "shipped";  // name of the file
    std::string about;
    Policy rules = POLICY;
    phone::DriverSteps driver;
};

// Read a policy; a figure that the text does not contain is the daemon's or the driver's own. Throw
// InputError with the file, the position and the expected value. A figure is the decimal that the
// file contains, rounded once to the figure's precision, if it has at most 15 digits.
CarePolicy parse_policy(const std::string& text, const std::filesystem::path& file);
CarePolicy load_policy(const std::filesystem::path& file);

// Returns all figures in the form of the file.
nlohmann::ordered_json policy_json(const CarePolicy& policy);

}  // namespace cellwarden

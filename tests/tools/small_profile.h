// A small profile for the tests of the life-time simulator.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

// The profile with a JSON merge patch applied.
inline Profile small_profile(const std::string& patch = "{}") {
    nlohmann::json document = nlohmann::json::parse(R"({
        "start": "2026-01-01",
        "years": 0.01,
        "cycle_s": 300,
        "home": "house",
        "idle_ma": 40,
        "suspended_ma": 8,
        "restarts_per_month": 0,
        "places": {"house": {"mean_c": 22}, "outdoors": {"mean_c": 5}},
        "chargers": {"fast": {"usb": "PD", "watts": 30}, "slow": {"wireless": "BPP", "watts": 5}},
        "occasions": [
            {"at": "02:00", "for_min": 180, "suspended": true},
            {"at": "19:00", "spread_min": 45, "for_min": 120, "load_ma": 600, "chance": 0.7},
            {"at": "22:00", "for_min": 300, "charger": "fast"}
        ]
    })");
    document.merge_patch(nlohmann::json::parse(patch));
    return parse_profile(document.dump(), "small.json");
}

}  // namespace cellwarden::lifetime

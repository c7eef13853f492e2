// Fuzzes scenario files of the bench: a file is either rejected with a message that contains its
// name, or the scenario can be played with its timeline in order, its values in range, and the
// battery between empty and full.
#include <algorithm>
#include <cmath>

#include "bench/actions.h"
#include "bench/scenario.h"
#include "fuzz/fuzzing.h"
#include "phone/phone_attributes.h"

namespace cellwarden::fuzz {
namespace {

void check_phone(const phone::Phone& phone) {
    promise(phone.battery.soc >= 0 && phone.battery.soc <= 1, "the battery is 0 to 100 % full");
    promise(std::isfinite(phone.battery.temp_c), "the battery has a temperature");
    for (const phone::AttributeText& attribute : phone::live_attributes(phone)) {
        promise(attribute.text.find("nan") == std::string::npos &&
                    attribute.text.find("inf") == std::string::npos,
                "attributes are numbers");
    }
}

void play(const bench::Scenario& scenario) {
    const auto earlier = [](const auto& a, const auto& b) { return a.at_s < b.at_s; };
    promise(std::is_sorted(scenario.timeline.begin(), scenario.timeline.end(), earlier),
            "the timeline is in order");
    promise(scenario.duration_s >= 1 && scenario.speed >= 0 && scenario.uptime_s >= 1,
            "times are in their ranges");
    phone::Phone phone = scenario.phone;
    check_phone(phone);
    for (const bench::TimedAction& timed : scenario.timeline) {
        bench::change_phone(phone, timed.action);
        promise(!bench::action_text(timed.action).empty(), "an action has a line for people");
        phone::advance_phone(phone, 60);
        check_phone(phone);
    }
}

}  // namespace

std::vector<std::string> seeds() {
    return {R"({"about": "all", "duration_s": 20, "speed": 60, "uptime_s": 86400,
"driver_ready_s": 1, "battery_uevent_s": 0, "phone": {"model_name": "PELLAMIR_VOSKA",
"charge_full_design_mah": 5000, "state_of_health_percent": 90, "soc_percent": 40,
"resistance_mohm": 80, "battery_temp_c": 30, "ambient_c": 20, "load_ma": 300, "thermal_level": 1,
"thermal_level_max": 15, "thermal_zone": 3, "shutdown_phase": 3},
"units": {"1": {"u8": 1}, "2": {"u16": 2}, "3": {"u32": 3}, "4": {"i32": -4}, "5": {"i64": -5},
"2802": {"text": "250102"}, "6": {"hex": "00ff"}, "7": {"file": "x"}},
"properties": {"a.b": "c"}, "imei": "123456789012345", "faults": ["unit-write-2491"],
"timeline": []})",
            R"({"timeline": [{"at_s": 9, "plug": {"type": "PD", "watts": 27}},
{"at_s": 1, "wireless": {"type": "EPP", "watts": 10}}, {"at_s": 2, "unplug": true},
{"at_s": 3, "ambient_c": 35}, {"at_s": 3, "battery_temp_c": -5}, {"at_s": 4, "load_ma": 2000},
{"at_s": 4, "thermal_level": 9}, {"at_s": 5, "shutdown_phase": 4},
{"at_s": 6, "attribute": {"name": "battery/health", "text": "Warm"}},
{"at_s": 6, "attribute": {"name": "battery/health", "text": null}},
{"at_s": 7, "fault": {"name": "event-queue", "on": true}},
{"at_s": 8, "uevent": {"subsystem": "block", "name": "sda"}}]})"};
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    const std::string text = fuzz::Input(data, size).text(size);
    try {
        fuzz::play(bench::parse_scenario(text, "build/fuzz/input.json"));
    } catch (const InputError& error) {
        fuzz::promise(std::string(error.what()).starts_with("build/fuzz/input.json: "),
                      "the message names the file");
    }
    return 0;
}

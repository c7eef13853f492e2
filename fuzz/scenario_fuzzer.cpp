// Fuzzes scenario files of the bench: a file is either rejected with a message that contains its
// name, or the scenario can be played with its timeline in order, its values in range, and the
// battery between empty and full.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "bench/actions.h"
#include "bench/scenario.h"
#include "fuzz/fuzzing.h"
#include "phone/phone_attributes.h"

namespace cellwarden::fuzz {
namespace {

void check_phone(const phone::Phone& phone) {
    promise(phone.battery.soc >= 0 && phone.battery.soc <= 1, "the battery is 0 to 100 % full");
    promise(std::isfinite(phone.battery.temp_c), "the battery has a temperature");
    for (const phone::AttributeFile& attribute : phone::live_attributes(phone)) {
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

// The scenarios of the tests, which have every key.
std::vector<std::string> seeds() {
    std::vector<std::string> texts;
    for (const auto& file : std::filesystem::directory_iterator(SCENARIOS)) {
        if (file.path().extension() == ".json") {
            std::ifstream stream(file.path());
            texts.emplace_back(std::istreambuf_iterator<char>(stream),
                               std::istreambuf_iterator<char>());
        }
    }
    return texts;
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

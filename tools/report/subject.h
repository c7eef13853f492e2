// The subjects of a report: phones and simulated lives.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "decode/battery_history.h"

namespace cellwarden::report {

// The true state of health of the battery, known for simulated lives only.
struct TrueHealth {
    double online_days;
    double percent;
};

struct Subject {
    std::string name;  // without control characters
    decode::BatteryHistory battery;
    std::vector<TrueHealth> true_health;  // in the order of days; empty for a phone
};

// The inputs of a report: "PATH" or "NAME=PATH".
struct Request {
    std::vector<std::string> inputs;
    std::vector<std::string> phones;  // keys of the wanted phones of the inputs; empty: all
    decode::RefuseEvent refuse;       // takes the texts about events that cannot be read
};

// Loads all subjects, in the order of the inputs. An input without NAME is named by the end of its
// path that no other input has, without the parts that all inputs end with, and without 2491, units
// and outbox: "a" and "b" for a/units/2491 and b/units/2491. An input with several phones has a
// subject for each, named by its key. Throws InputError with the path and the reason.
std::vector<Subject> load_subjects(const Request& request);

}  // namespace cellwarden::report

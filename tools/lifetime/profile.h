// A usage profile: who uses the phone, how and where, and how its battery really fades. Read from a
// JSON file; docs/lifetime.md describes the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "phone/charger.h"

namespace cellwarden::lifetime {

// Temperature around the phone, in degC: the mean, warmer by `season_c` in July, by `day_c` in the
// middle of the afternoon (and colder by them half a year, half a day away), and by up to
// `weather_c` either way from day to day.
struct Place {
    std::string name;
    double mean_c = 20;
    double season_c = 0;
    double day_c = 0;
    double weather_c = 0;
};

struct ChargerKind {
    std::string name;
    phone::Source source = phone::Source::USB;
    std::string type;
    double watts = 10;
};

enum class Days { ALL, WORKDAYS, WEEKEND };

// Something that the user does on many days. Of several that run at once, each property comes from
// the last one in the profile that sets it.
struct Occasion {
    int at_s = 0;           // time of day
    double spread_s = 0;    // it starts up to this much earlier or later
    double for_s = 3600;    // how long it lasts
    Days days = Days::ALL;  // on which it starts
    double chance = 1;      // that it happens on such a day

    std::optional<double> load_ma;
    std::optional<size_t> place;     // index into Profile::places
    std::optional<size_t> charger;   // index into Profile::chargers
    bool suspended = false;          // the phone sleeps, unless it is on a charger
    double below_percent = 101;      // it happens only when the battery shows less at its start
    double unplug_at_percent = 101;  // it ends when the battery shows this much
};

// How the battery really fades, whatever the daemon's models say. Losses are in per cent of the
// design capacity.
struct FadeModel {
    double calendar_percent = 2.5;  // lost in the first year at 25 degC and 3.9 V; grows with
                                    // the square root of time
    double doubling_k = 12;         // the time until a loss is reached halves with each of these
    double per_volt = 1.5;          // and falls by a factor of e^per_volt with each volt
    double percent_per_100_charges = 1;  // lost by 100 full charges
    double knee_percent = 65;            // below this state of health charging costs three times as
                                         // much
    double resistance_growth = 3;        // per cent of resistance gained with each per cent lost
};

// What the fuel gauge makes of it: a full charge from below a limit teaches it the capacity.
struct GaugeModel {
    double learns_below_percent = 30;
    double error_percent = 1;  // of a learned capacity, at most
};

struct Profile {
    std::string name;  // of the file
    std::string about;
    int64_t start_wall_s = 0;  // midnight, since 1970
    double years = 5;
    double cycle_s = 60;  // between two full cycles of the daemon while the phone is awake

    std::string battery_model = "PELLAMIR_VOSKA";
    double design_mah = 5000;
    double resistance_mohm = 60;
    double soc_percent = 60;  // at the start
    FadeModel fade;
    GaugeModel gauge;

    double idle_ma = 30;       // load of the awake phone that nobody uses
    double suspended_ma = 10;  // and of the suspended one
    size_t home = 0;           // the place where it is when no occasion says another
    double restarts_per_month = 1;
    double crashes_per_year = 0;  // restarts without a shutdown

    std::vector<Place> places;
    std::vector<ChargerKind> chargers;
    std::vector<Occasion> occasions;
};

// Reads a profile. Throws InputError, which names the file, the place and what was expected.
Profile parse_profile(const std::string& text, const std::filesystem::path& file);
Profile load_profile(const std::filesystem::path& file);

}  // namespace cellwarden::lifetime

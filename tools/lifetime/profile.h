// A usage profile: the habits of a user, the places, the chargers, and the cell of the
// battery. It is read from a JSON file, which docs/lifetime.md describes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "phone/charger.h"
#include "tools/lifetime/cell.h"

namespace cellwarden::lifetime {

// Ambient temperature of a place in degC: mean_c + season_c in July (- season_c in January) + day_c
// at 15:00 (- day_c at 03:00) + a random offset of up to +-weather_c for each day.
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

// A repeated activity of the user. If several occasions overlap, each property comes from the last
// one in the profile that sets it.
struct Occasion {
    int at_s = 0;           // time of day
    double spread_s = 0;    // start varies by up to +-spread_s
    double for_s = 3600;    // duration
    Days days = Days::ALL;  // days on which it starts
    double chance = 1;      // probability on each of these days

    std::optional<double> load_ma;
    double load_spread = 0;          // the load of each day differs by up to this share
    double peak_ma = 0;              // load of a cycle with a peak
    double peak_chance = 0;          // probability of a peak in each cycle
    std::optional<size_t> place;     // index into Profile::places
    std::optional<size_t> charger;   // index into Profile::chargers
    int smart_stop_percent = 100;    // smart charging pauses at this shown charge; 100: not active
    bool suspended = false;          // the phone is suspended unless a charger is connected
    double below_percent = 101;      // happens only if the shown charge is lower at its start
    double unplug_at_percent = 101;  // ends when the shown charge reaches this
};

// A user who watches the battery: between 07:00 and 23:00, each hour in which the phone shows less
// than `below_percent`, the user charges with a probability. A phone that has run empty raises
// the limit; half of the rise is forgotten in 30 days.
struct Worry {
    Occasion charge;  // its charger, duration, and when it ends
    double below_percent = 20;
    double chance = 0.5;
    double per_empty_percent = 5;  // rise of the limit each time that the phone has run empty
    double at_most_percent = 50;
};

// The fuel gauge learns the capacity in a full charge that starts below a limit.
struct GaugeModel {
    double learns_below_percent = 30;
    double error_percent = 1;  // maximum error of a learned capacity
};

struct Profile {
    std::string name;    // name of the file
    std::string source;  // text of the file, for digests
    std::string about;
    int64_t start_wall_s = 0;  // midnight UTC, seconds since 1970
    double years = 5;
    double cycle_s = 60;  // seconds between full cycles while the phone is awake

    std::string battery_model = "PELLAMIR_VOSKA";
    double design_mah = 5000;
    double capacity_percent = 100;  // capacity of the new cell, in % of the design capacity
    double resistance_mohm = 60;
    double soc_percent = 60;  // state of charge at the start
    CellModel cell;
    GaugeModel gauge;

    double idle_ma = 30;       // load of the phone when awake and unused
    double suspended_ma = 10;  // load of the suspended phone
    size_t home = 0;           // default place, an index into `places`
    double restarts_per_month = 1;
    double crashes_per_year = 0;  // restarts without a shutdown

    std::vector<Place> places;
    std::vector<ChargerKind> chargers;
    std::vector<Occasion> occasions;
    std::optional<Worry> worry;
};

// Read a profile. Throw InputError with the file, the position and the expected value.
Profile parse_profile(const std::string& text, const std::filesystem::path& file);
Profile load_profile(const std::filesystem::path& file);

}  // namespace cellwarden::lifetime

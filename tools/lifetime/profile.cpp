#include "tools/lifetime/profile.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "common/json_reader.h"
#include "platform/sysfs_params.h"

namespace cellwarden::lifetime {
namespace {

using phone::Source;

constexpr double SECONDS_PER_MINUTE = 60;
constexpr const char* DEFAULT_CELL = "phone";

// Returns the index of the named element; the list of names is for the error message.
template <typename T>
size_t read_name_of(const JsonPlace& at, const std::vector<T>& named) {
    std::vector<std::string> names;
    names.reserve(named.size());
    for (const T& one : named) {
        names.push_back(one.name);
    }
    const std::string name = read_choice(at, names);
    return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

// Reads "07:30" as seconds since midnight.
int read_time_of_day(const JsonPlace& at) {
    int hour = 0;
    int minute = 0;
    int length = 0;
    const std::string text = at.value.is_string() ? read_text(at) : "";
    if (sscanf(text.c_str(), "%2d:%2d%n", &hour, &minute, &length) != 2 || length != 5 ||
        text.size() != 5 || hour < 0 || hour > 23 || minute < 0 || minute > 59) {
        fail(at, "a time of day such as \"07:30\"");
    }
    return (hour * 60 + minute) * 60;
}

int64_t read_date(const JsonPlace& at) {
    const std::string text = at.value.is_string() ? read_text(at) : "";
    struct tm date = {};
    const char* end = strptime(text.c_str(), "%Y-%m-%d", &date);
    if (end == nullptr || *end != '\0' || date.tm_year < 117 || date.tm_year > 137) {
        fail(at, "a date from \"2017-01-01\" to \"2037-12-31\"");
    }
    return timegm(&date);
}

std::string read_battery_model(const JsonPlace& at) {
    std::vector<std::string> models;
    const SysfsEnumEntry* row = SysfsParamTable[PARAM_BATTERY_MODEL_NAME].enum_table;
    for (; row->text != nullptr; row++) {
        models.emplace_back(row->text);
    }
    return read_choice(at, models);
}

void read_battery(const JsonPlace& at, Profile& profile) {
    read_object(
        at, {{"model", [&](const JsonPlace& p) { profile.battery_model = read_battery_model(p); }},
             {"design_mah", number_into(profile.design_mah, 100, 20'000)},
             {"capacity_percent", number_into(profile.capacity_percent, 50, 120)},
             {"resistance_mohm", number_into(profile.resistance_mohm, 1, 500)},
             {"soc_percent", number_into(profile.soc_percent, 1, 100)}});
}

// A shipped cell's name or a path relative to the profile.
CellModel read_cell(const JsonPlace& at) {
    const std::filesystem::path file = cell_file(read_text(at), at.file.parent_path());
    if (!std::filesystem::exists(file)) {
        std::string names;
        for (const std::string& name : shipped_cells()) {
            names += name + ", ";
        }
        fail(at, "one of the cells " + names + "or the path of a cell");
    }
    return load_cell(file);
}

void read_gauge(const JsonPlace& at, GaugeModel& gauge) {
    read_object(at, {{"learns_below_percent", number_into(gauge.learns_below_percent, 0, 99)},
                     {"error_percent", number_into(gauge.error_percent, 0, 20)}});
}

// Passes each member of an object to `read`, in the order of the names.
template <typename T, typename Read>
void read_named(const JsonPlace& at, const char* what, std::vector<T>& named, Read read) {
    if (!at.value.is_object() || at.value.empty()) {
        fail(at, what);
    }
    for (const auto& item : at.value.items()) {
        T one;
        one.name = item.key();
        read(member(at, item.key()), one);
        named.push_back(one);
    }
}

void read_place(const JsonPlace& at, Place& place) {
    require(at, "mean_c");
    read_object(at, {{"mean_c", number_into(place.mean_c, -40, 60)},
                     {"season_c", number_into(place.season_c, -40, 40)},
                     {"day_c", number_into(place.day_c, -40, 40)},
                     {"weather_c", number_into(place.weather_c, 0, 30)}});
}

void read_charger(const JsonPlace& at, ChargerKind& charger) {
    int sources = 0;
    const auto source = [&](Source kind, const std::vector<std::string>& types) {
        return [&, kind, types](const JsonPlace& p) {
            charger.source = kind;
            charger.type = read_choice(p, types);
            sources++;
        };
    };
    require(at, "watts");
    read_object(at, {{"usb", source(Source::USB, {"SDP", "DCP", "CDP", "PD", "PD_PPS", "HVDCP",
                                                  "HVDCP_3", "HVDCP_3P5"})},
                     {"wireless", source(Source::WIRELESS, {"BPP", "EPP"})},
                     {"watts", number_into(charger.watts, 0.5, 240)}});
    if (sources != 1) {
        fail(at, "an object with watts and either usb or wireless");
    }
}

void read_occasion(const JsonPlace& at, const Profile& profile, Occasion& occasion) {
    require(at, "at");
    require(at, "for_min");
    read_object(
        at,
        {{"about", [](const JsonPlace& p) { (void)read_text(p); }},
         {"at", [&](const JsonPlace& p) { occasion.at_s = read_time_of_day(p); }},
         {"spread_min", number_into(occasion.spread_s, 0, 720, SECONDS_PER_MINUTE)},
         {"for_min", number_into(occasion.for_s, 1, 2880, SECONDS_PER_MINUTE)},
         {"days",
          [&](const JsonPlace& p) {
              const std::string days = read_choice(p, {"all", "workdays", "weekend"});
              occasion.days = days == "all"        ? Days::ALL
                              : days == "workdays" ? Days::WORKDAYS
                                                   : Days::WEEKEND;
          }},
         {"chance", number_into(occasion.chance, 0, 1)},
         {"load_ma", [&](const JsonPlace& p) { occasion.load_ma = read_number(p, 0, 6000); }},
         {"place", [&](const JsonPlace& p) { occasion.place = read_name_of(p, profile.places); }},
         {"charger",
          [&](const JsonPlace& p) { occasion.charger = read_name_of(p, profile.chargers); }},
         {"load_spread_percent", number_into(occasion.load_spread, 0, 100, 0.01)},
         {"peak_ma", number_into(occasion.peak_ma, 0, 6000)},
         {"peak_chance", number_into(occasion.peak_chance, 0, 1)},
         {"smart_stop_percent", integer_into(occasion.smart_stop_percent, 1, 100)},
         {"suspended", [&](const JsonPlace& p) { occasion.suspended = read_flag(p); }},
         {"below_percent", number_into(occasion.below_percent, 1, 100)},
         {"unplug_at_percent", number_into(occasion.unplug_at_percent, 1, 100)}});
}

void read_occasions(const JsonPlace& at, Profile& profile) {
    if (!at.value.is_array()) {
        fail(at, "an array of occasions");
    }
    for (size_t i = 0; i < at.value.size(); i++) {
        read_occasion(element(at, i), profile, profile.occasions.emplace_back());
    }
}

void read_worry(const JsonPlace& at, const Profile& profile, Worry& worry) {
    for (const char* key : {"charger", "for_min"}) {
        require(at, key);
    }
    Occasion& charge = worry.charge;
    read_object(at,
                {{"about", [](const JsonPlace& p) { (void)read_text(p); }},
                 {"charger",
                  [&](const JsonPlace& p) { charge.charger = read_name_of(p, profile.chargers); }},
                 {"for_min", number_into(charge.for_s, 1, 2880, SECONDS_PER_MINUTE)},
                 {"unplug_at_percent", number_into(charge.unplug_at_percent, 1, 100)},
                 {"below_percent", number_into(worry.below_percent, 1, 100)},
                 {"chance", number_into(worry.chance, 0, 1)},
                 {"per_empty_percent", number_into(worry.per_empty_percent, 0, 50)},
                 {"at_most_percent", number_into(worry.at_most_percent, 1, 100)}});
}

void read_profile(const JsonPlace& top, Profile& profile) {
    // Places and chargers are read before the keys that name them.
    for (const char* key : {"start", "places", "home", "chargers", "occasions"}) {
        require(top, key);
    }
    read_named(member(top, "places"), "an object of places", profile.places, read_place);
    read_named(member(top, "chargers"), "an object of chargers", profile.chargers, read_charger);
    const auto done = [](const JsonPlace&) {};
    read_object(
        top,
        {{"about", text_into(profile.about)},
         {"start", [&](const JsonPlace& at) { profile.start_wall_s = read_date(at); }},
         {"years", number_into(profile.years, 0.001, 20)},
         {"cycle_s", number_into(profile.cycle_s, 1, 3600)},
         {"battery", [&](const JsonPlace& at) { read_battery(at, profile); }},
         {"cell", [&](const JsonPlace& at) { profile.cell = read_cell(at); }},
         {"gauge", [&](const JsonPlace& at) { read_gauge(at, profile.gauge); }},
         {"idle_ma", number_into(profile.idle_ma, 0, 6000)},
         {"suspended_ma", number_into(profile.suspended_ma, 0, 6000)},
         {"home", [&](const JsonPlace& at) { profile.home = read_name_of(at, profile.places); }},
         {"restarts_per_month", number_into(profile.restarts_per_month, 0, 30)},
         {"crashes_per_year", number_into(profile.crashes_per_year, 0, 365)},
         {"places", done},
         {"chargers", done},
         {"occasions", [&](const JsonPlace& at) { read_occasions(at, profile); }},
         {"worry",
          [&](const JsonPlace& at) { read_worry(at, profile, profile.worry.emplace()); }}});
}

}  // namespace

Profile parse_profile(const std::string& text, const std::filesystem::path& file) {
    const nlohmann::json document = parse_document(text, file);
    Profile profile;
    profile.name = file.stem();
    profile.source = text;
    read_profile({document, "", file}, profile);
    if (!document.contains("cell")) {
        profile.cell = load_cell(cell_file(DEFAULT_CELL, {}));
    }
    return profile;
}

Profile load_profile(const std::filesystem::path& file) {
    const std::vector<uint8_t> bytes = read_input(file);
    return parse_profile({bytes.begin(), bytes.end()}, file);
}

}  // namespace cellwarden::lifetime

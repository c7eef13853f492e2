// Profiles: what ships loads, and a mistake is named with its place.
#include "tools/lifetime/profile.h"

#include <gmock/gmock.h>

#include "bench/json_reader.h"
#include "tools/small_profile.h"

namespace cellwarden::lifetime {
namespace {

TEST(Profile, ShippedProfilesLoadAndSayWhatTheyShow) {
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator(CELLWARDEN_PROFILE_DIR)) {
        const Profile profile = load_profile(file.path());
        EXPECT_EQ(profile.name, file.path().stem());
        EXPECT_FALSE(profile.about.empty()) << file.path();
        EXPECT_FALSE(profile.occasions.empty()) << file.path();
        count++;
    }
    EXPECT_EQ(count, 5);
}

TEST(Profile, TimesAndNamesBecomeNumbers) {
    const Profile profile = small_profile(R"({"occasions": [{
        "at": "23:59", "spread_min": 1.5, "for_min": 60, "days": "weekend", "place": "outdoors",
        "charger": "slow", "below_percent": 30}]})");
    EXPECT_EQ(profile.start_wall_s, 1'767'225'600);  // 2026-01-01 00:00:00 UTC, a Thursday
    const Occasion& occasion = profile.occasions.at(0);
    EXPECT_EQ(occasion.at_s, 86'340);
    EXPECT_EQ(occasion.spread_s, 90);
    EXPECT_EQ(occasion.for_s, 3600);
    EXPECT_EQ(occasion.days, Days::WEEKEND);
    EXPECT_EQ(profile.places.at(occasion.place.value()).name, "outdoors");
    EXPECT_EQ(profile.chargers.at(occasion.charger.value()).name, "slow");
    EXPECT_EQ(occasion.below_percent, 30);
    EXPECT_FALSE(occasion.load_ma);
}

TEST(Profile, AMistakeIsNamedWithItsPlace) {
    const struct {
        const char* name;
        const char* patch;  // of the small profile; null takes a key away
        const char* message;
    } rows[] = {
        {"no start", R"({"start": null})",
         "small.json: top of the file: expected an object with "
         "the key start"},
        {"no such day", R"({"start": "2026-13-01"})", "small.json: start: expected a date"},
        {"text after the date", R"({"start": "2026-01-01 noon"})", "start: expected a date"},
        {"unknown key", R"({"color": 1})", "small.json: color: unknown key, expected one of: about"},
        {"unknown home", R"({"home": "moon"})", "home: expected one of: house, outdoors, found"},
        {"too many years", R"({"years": 21})", "years: expected a number from 0.001 to 20, found 21"},
        {"no places", R"({"places": {"house": null, "outdoors": null}})", "places: expected an object of places"},
        {"a place without a mean", R"({"places": {"house": {"mean_c": null}}})",
         "places.house: expected an object with the key mean_c"},
        {"a charger of both kinds", R"({"chargers": {"fast": {"wireless": "EPP"}}})",
         "chargers.fast: expected an object with watts and either usb or wireless"},
        {"an unknown charger type", R"({"chargers": {"fast": {"usb": "EPP"}}})",
         "chargers.fast.usb: expected one of: SDP"},
        {"an hour too late", R"({"occasions": [{"at": "24:00", "for_min": 5}]})",
         "occasions[0].at: expected a time of day such as \"07:30\", found \"24:00\""},
        {"a short time", R"({"occasions": [{"at": "7:30", "for_min": 5}]})", "occasions[0].at"},
        {"no length", R"({"occasions": [{"at": "07:30"}]})", "occasions[0]: expected an object with the key for_min"},
        {"an unknown charger", R"({"occasions": [{"at": "07:30", "for_min": 5, "charger": "x"}]})",
         "occasions[0].charger: expected one of: fast, slow, found \"x\""},
        {"an unknown battery", R"({"battery": {"model": "x"}})",
         "battery.model: expected one of: Loading Battery Data"},
    };
    for (const auto& row : rows) {
        try {
            (void)small_profile(row.patch);
            ADD_FAILURE() << row.name << ": was taken";
        } catch (const bench::InputError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(row.message)) << row.name;
        }
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

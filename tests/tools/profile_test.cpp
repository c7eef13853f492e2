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

TEST(Profile, AMistakeIsNamedWithItsPlace) {
    const struct {
        const char* name;
        const char* patch;  // of the small profile; null takes a key away
        const char* message;
    } rows[] = {
        {"no such day", R"({"start": "2026-13-01"})", "small.json: start: expected a date"},
        {"unknown key", R"({"color": 1})", "small.json: color: unknown key, expected one of: about"},
        {"no places", R"({"places": {"house": null, "outdoors": null}})", "places: expected an object of places"},
        {"a charger of both kinds", R"({"chargers": {"fast": {"wireless": "EPP"}}})",
         "chargers.fast: expected an object with watts and either usb or wireless"},
        {"an hour too late", R"({"occasions": [{"at": "24:00", "for_min": 5}]})",
         "occasions[0].at: expected a time of day such as \"07:30\", found \"24:00\""},
        {"an unknown charger", R"({"occasions": [{"at": "07:30", "for_min": 5, "charger": "x"}]})",
         "occasions[0].charger: expected one of: fast, slow, found \"x\""},
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

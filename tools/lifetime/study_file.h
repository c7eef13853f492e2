// A study: a population of simulated phones, and the policies that every one of them lives under.
// It is read from a JSON file, which docs/lifetime.md describes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "policies/policy_file.h"
#include "tools/lifetime/profile.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {

enum class Shape { UNIFORM, NORMAL, LOGNORMAL };

// A distribution, cut off at its bounds: a draw beyond them is repeated.
struct Distribution {
    Shape shape = Shape::UNIFORM;
    double centre = 0;  // mean; lognormal: median
    double spread = 0;  // standard deviation; lognormal: of the natural logarithm
    double from = 0;
    double to = 0;
};

double draw(const Distribution& distribution, Random& random);

// A property in which users and cells differ.
struct Trait {
    const char* key;
    double low;  // range of its values
    double high;
    void (*apply)(Profile& profile, double value);
};

struct VariedTrait {
    const Trait* trait;
    Distribution distribution;
};

struct StudyProfile {
    Profile profile;
    double weight;  // share of the phones, relative to the sum of all weights
};

struct Study {
    std::string name;  // name of the file
    std::string about;
    int phones = 100;
    double years = 3;
    uint64_t seed = 1;
    double reference_load_ma = 350;
    std::vector<StudyProfile> profiles;
    std::vector<CarePolicy> policies;  // the first is the one that the others are compared with
    std::vector<VariedTrait> varies;
    std::string varies_json = "null";  // as in the file
};

// What the command line replaces; 0 and empty keep the file's own.
struct StudyChanges {
    int phones = 0;
    double years = 0;
    uint64_t seed = 0;
    std::vector<std::string> policies{};
    std::string cell{};  // of all phones
};

// Reads a study, its profiles and its policies; paths in it are relative to its folder, those of
// the changes to the current one. Throws InputError with the file, the position and the expected
// value.
Study load_study(const std::filesystem::path& file, const StudyChanges& changes = {});

// Returns what the results depend on: the program, the study, its profiles and policies, and as
// "digest" the SHA-256 of all this.
nlohmann::ordered_json provenance_of(const Study& study);

struct StudyPhone {
    int number;                  // from 1
    uint64_t seed;               // of its life, the same under every policy
    std::vector<double> traits;  // in the order of Study::varies
    Profile profile;
};

// Returns a phone of the study. It depends on the study's seed and its number only, and each trait
// has draws of its own.
StudyPhone phone_of(const Study& study, int number);

}  // namespace cellwarden::lifetime

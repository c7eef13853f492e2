#include "tools/lifetime/study_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <set>

#include "common/json_reader.h"
#include "state/facts.h"
#include "tools/lifetime/provenance.h"
#include "tools/lifetime/shipped.h"

namespace cellwarden::lifetime {
namespace {

void scale_loads(Profile& profile, double factor) {
    profile.idle_ma = std::min(profile.idle_ma * factor, 6000.0);
    profile.suspended_ma = std::min(profile.suspended_ma * factor, 6000.0);
    for (Occasion& occasion : profile.occasions) {
        if (occasion.load_ma) {
            occasion.load_ma = std::min(*occasion.load_ma * factor, 6000.0);
        }
    }
}

void shift_day(Profile& profile, double hours) {
    const int shift_s = static_cast<int>(std::lround(hours * SECONDS_PER_HOUR));
    for (Occasion& occasion : profile.occasions) {
        occasion.at_s = (occasion.at_s + shift_s + SECONDS_PER_DAY) % SECONDS_PER_DAY;
    }
}

void scale_watts(Profile& profile, double factor) {
    for (ChargerKind& charger : profile.chargers) {
        charger.watts = std::clamp(charger.watts * factor, 0.5, 240.0);
    }
}

void scale_charging_chance(Profile& profile, double factor) {
    for (Occasion& occasion : profile.occasions) {
        if (occasion.charger) {
            occasion.chance = std::min(occasion.chance * factor, 1.0);
        }
    }
}

void warm_places(Profile& profile, double kelvin) {
    for (Place& place : profile.places) {
        place.mean_c += kelvin;
    }
}

void scale_ageing(Profile& profile, double factor) {
    scale_ageing(profile.cell, factor);
}

constexpr std::array TRAITS = {
    Trait{"load_factor", 0.1, 10, scale_loads},
    Trait{"shift_h", -12, 12, shift_day},
    Trait{"charger_factor", 0.1, 10, scale_watts},
    Trait{"charging_chance_factor", 0, 10, scale_charging_chance},
    Trait{"climate_c", -30, 30, warm_places},
    Trait{"capacity_percent", 50, 120,
          [](Profile& profile, double percent) { profile.capacity_percent = percent; }},
    Trait{"resistance_factor", 0.1, 5,
          [](Profile& profile, double factor) { profile.resistance_mohm *= factor; }},
    Trait{"ageing_factor", 0, 10, scale_ageing},
    Trait{"gauge_error_percent", 0, 20,
          [](Profile& profile, double percent) { profile.gauge.error_percent = percent; }},
};

// Returns the generator of one of a phone's streams of random numbers.
Random stream_of(const Study& study, int number, std::string_view stream) {
    uint64_t state = wrapping_mul(study.seed, 0xD1342543DE82EF95);
    state = wrapping_mul(state ^ static_cast<uint64_t>(number), 0xAF251AF3B0F025B5);
    for (const char letter : stream) {
        state = wrapping_mul(state ^ static_cast<unsigned char>(letter), 0x100000001B3);
    }
    return {state};
}

double standard_normal(Random& random) {
    const double radius = std::sqrt(-2 * std::log(1 - next_share(random)));
    return radius * std::cos(2 * std::numbers::pi * next_share(random));
}

Distribution read_distribution(const JsonPlace& at, const Trait& trait) {
    require(at, "shape");
    const std::string shape = read_choice(member(at, "shape"), {"uniform", "normal", "lognormal"});
    Distribution one;
    const auto done = [](const JsonPlace&) {};
    Handlers keys = {{"shape", done},
                     {"from", number_into(one.from, trait.low, trait.high)},
                     {"to", number_into(one.to, trait.low, trait.high)}};
    if (shape == "normal") {
        one.shape = Shape::NORMAL;
        keys["mean"] = number_into(one.centre, trait.low, trait.high);
        keys["sd"] = number_into(one.spread, 0, 100);
    } else if (shape == "lognormal") {
        one.shape = Shape::LOGNORMAL;
        keys["median"] = number_into(one.centre, std::max(trait.low, 1e-3), trait.high);
        keys["sigma"] = number_into(one.spread, 0, 3);
    }
    for (const auto& [key, handler] : keys) {
        require(at, key.c_str());
    }
    read_object(at, keys);
    // A draw must be within the bounds often enough: with the centre inside them and bounds that
    // are not much closer than the spread, at least one of 30 is.
    if (one.from > one.to) {
        fail(at, "bounds with from <= to");
    }
    if (one.shape != Shape::UNIFORM) {
        const double width = one.shape == Shape::NORMAL
                                 ? one.to - one.from
                                 : std::log(one.to / std::max(one.from, 1e-3));
        if (one.centre < one.from || one.centre > one.to || width < one.spread / 10) {
            fail(at, "bounds around the centre, at least a tenth of the spread apart");
        }
    }
    return one;
}

void read_varies(const JsonPlace& at, Study& study) {
    Handlers keys;
    for (const Trait& trait : TRAITS) {
        keys[trait.key] = [&study, &trait](const JsonPlace& place) {
            study.varies.push_back({&trait, read_distribution(place, trait)});
        };
    }
    read_object(at, keys);
    study.varies_json = at.value.dump();
}

// Names stand in the columns of the results.
constexpr const char* PLAIN_NAMES =
    "names of files that differ, and consist of letters, digits and any of -_.+";
bool is_plain(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return isalnum(c) != 0 || strchr("-_.+", c) != nullptr;
    });
}

template <typename Named>
void check_name(const JsonPlace& at, const Named& named, std::set<std::string>& names) {
    if (!is_plain(named.name) || !names.insert(named.name).second) {
        fail(at, PLAIN_NAMES);
    }
}

void read_profiles(const JsonPlace& at, Study& study) {
    if (!at.value.is_object() || at.value.empty()) {
        fail(at, "an object with the weight of each profile");
    }
    std::set<std::string> names;
    for (const auto& item : at.value.items()) {
        const JsonPlace place = member(at, item.key());
        study.profiles.push_back(
            {find_profile(item.key(), at.file.parent_path()), read_number(place, 1e-6, 1e6)});
        check_name(place, study.profiles.back().profile, names);
    }
}

void read_policies(const JsonPlace& at, Study& study) {
    if (!at.value.is_array() || at.value.empty()) {
        fail(at, "an array of policies");
    }
    std::set<std::string> names;
    for (size_t i = 0; i < at.value.size(); i++) {
        const JsonPlace place = element(at, i);
        study.policies.push_back(find_policy(read_text(place), at.file.parent_path()));
        check_name(place, study.policies.back(), names);
    }
}

void change_policies(const std::vector<std::string>& names, Study& study) {
    study.policies.clear();
    std::set<std::string> differing;
    for (const std::string& name : names) {
        study.policies.push_back(find_policy(name));
        if (!is_plain(study.policies.back().name) ||
            !differing.insert(study.policies.back().name).second) {
            throw InputError("--policies " + name + ": expected " + PLAIN_NAMES);
        }
    }
}

}  // namespace

double draw(const Distribution& distribution, Random& random) {
    const auto& [shape, centre, spread, from, to] = distribution;
    if (shape == Shape::UNIFORM) {
        return from + next_share(random) * (to - from);
    }
    for (;;) {
        const double offset = spread * standard_normal(random);
        const double value = shape == Shape::NORMAL ? centre + offset : centre * std::exp(offset);
        if (value >= from && value <= to) {
            return value;
        }
    }
}

Study load_study(const std::filesystem::path& file, const StudyChanges& changes) {
    const std::vector<uint8_t> bytes = read_input(file);
    const nlohmann::json document = parse_document({bytes.begin(), bytes.end()}, file);
    Study study;
    study.name = file.stem();
    if (!is_plain(study.name)) {
        throw InputError(file.string() +
                         ": the name of a study consists of letters, digits and any of -_.+");
    }
    const JsonPlace top{document, "", file};
    require(top, "profiles");
    require(top, "policies");
    read_object(top, {{"about", text_into(study.about)},
                      {"phones", integer_into(study.phones, 1, 10'000'000)},
                      {"years", number_into(study.years, 0.001, 20)},
                      {"seed",
                       [&](const JsonPlace& at) {
                           study.seed = static_cast<uint64_t>(read_integer(at, 1, INT64_MAX));
                       }},
                      {"reference_load_ma", number_into(study.reference_load_ma, 1, 6000)},
                      {"profiles", [&](const JsonPlace& at) { read_profiles(at, study); }},
                      {"policies", [&](const JsonPlace& at) { read_policies(at, study); }},
                      {"varies", [&](const JsonPlace& at) { read_varies(at, study); }}});
    study.phones = changes.phones > 0 ? changes.phones : study.phones;
    study.years = changes.years > 0 ? changes.years : study.years;
    study.seed = changes.seed > 0 ? changes.seed : study.seed;
    if (!changes.policies.empty()) {
        change_policies(changes.policies, study);
    }
    for (StudyProfile& one : study.profiles) {
        one.profile.years = study.years;
        if (!changes.cell.empty()) {
            one.profile.cell = load_cell(cell_file(changes.cell, "."));
        }
    }
    return study;
}

nlohmann::ordered_json provenance_of(const Study& study) {
    nlohmann::ordered_json json = {{"simulated", true},
                                   {"program", program_version()},
                                   {"study", study.name},
                                   {"about", study.about},
                                   {"phones", study.phones},
                                   {"years", study.years},
                                   {"seed", study.seed},
                                   {"reference_load_ma", study.reference_load_ma},
                                   {"varies", nlohmann::json::parse(study.varies_json)}};
    for (const StudyProfile& one : study.profiles) {
        json["profiles"].push_back({{"name", one.profile.name},
                                    {"weight", one.weight},
                                    {"digest", digest_of(one.profile.source)},
                                    {"cell", one.profile.cell.name},
                                    {"cell_digest", digest_of(one.profile.cell.source)}});
    }
    for (const CarePolicy& policy : study.policies) {
        json["policies"].push_back(policy_provenance(policy));
    }
    json["digest"] = digest_of(json.dump());
    return json;
}

StudyPhone phone_of(const Study& study, int number) {
    double total = 0;
    for (const StudyProfile& one : study.profiles) {
        total += one.weight;
    }
    Random random = stream_of(study, number, "profile");
    double place = next_share(random) * total;
    size_t chosen = 0;
    while (chosen + 1 < study.profiles.size() && place >= study.profiles[chosen].weight) {
        place -= study.profiles[chosen++].weight;
    }
    Random life = stream_of(study, number, "life");
    StudyPhone phone{.number = number,
                     .seed = static_cast<uint64_t>(next_share(life) * 0x1p53),
                     .traits = {},
                     .profile = study.profiles[chosen].profile};
    for (const auto& [trait, distribution] : study.varies) {
        Random stream = stream_of(study, number, trait->key);
        phone.traits.push_back(draw(distribution, stream));
        trait->apply(phone.profile, phone.traits.back());
    }
    return phone;
}

}  // namespace cellwarden::lifetime

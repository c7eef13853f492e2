// The past of a phone in use, from which a life goes on: its statistics record, or what its newest
// ageing event holds of it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "decode/event_stream.h"
#include "product/policy.h"
#include "state/batt_stat.h"
#include "tools/lifetime/profile.h"

namespace cellwarden::lifetime {

struct Past {
    std::string name;    // path of the source
    std::string source;  // "record, accepted: ...", "ageing event of 2026-03-01 ..."
    std::string digest;  // SHA-256 of the record or of the packed event
    BattStat stat;
    // The other units that the source shows: dates of the battery, heat of the connector.
    std::map<uint32_t, std::string> units;
    std::optional<int64_t> latest_s;   // latest time that the source shows, seconds since 1970
    std::vector<std::string> missing;  // fields of the record that the event does not have
    std::vector<std::string> oddities;
};

// Loads the record or the newest ageing event of one phone. `phones` is empty or has the key of the
// phone to choose. Throws InputError if there is neither, if there are several phones, or if a
// value from which the life would go on is odd.
Past load_past(const std::string& path, const std::vector<std::string>& phones,
               const decode::RefuseEvent& refuse);

// Returns the profile as it concerns this phone: it starts at the first midnight (UTC) after
// `latest_s`, with the phone's battery model, and with the design capacity that the record means if
// that differs from the profile's by more than 1 %. A battery whose learned capacity is above the
// new cell's has a new cell of that capacity. Throws InputError if the profile cannot start then or
// with such a battery.
Profile profile_of(Profile profile, const Past& past);

// Returns when the battery was first used, in seconds since 1970.
int64_t first_use_s(const Profile& profile, const BattStat& stat);

// Returns the loss that the learned capacity shows, in % of the new cell's capacity; nullopt if the
// gauge had not learned a capacity.
std::optional<double> learned_loss(const Profile& profile, const BattStat& stat);

// Returns the profile's cell after the record's life. Each term has lost what its equation returns
// for the tables of the record, times one factor for all terms: with it, their sum is the loss that
// the learned capacity shows. Without a learned capacity the factor is 1.
Cell aged_cell(const Profile& profile, const BattStat& stat, const UsageBins& bins);

}  // namespace cellwarden::lifetime

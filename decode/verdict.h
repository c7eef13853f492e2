// The verdict of the daemon's start-up on stored bytes, and its reason.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "state/batt_stat.h"

namespace cellwarden::decode {

struct Judgement {
    BattStatVerdict verdict;
    std::string name;    // "accepted", "upgraded" or "reset"
    std::string reason;  // with the offset, the value found and the value expected
};

// Judges the content of unit 2491. An empty span means an empty or unreadable unit.
Judgement judge_record(std::span<const uint8_t> bytes);

// Returns whether the daemon keeps the record. If not, the bytes may not have the record's layout.
inline bool is_kept(const Judgement& judgement) {
    return judgement.verdict == BattStatVerdict::ACCEPTED ||
           judgement.verdict == BattStatVerdict::UPGRADED;
}

}  // namespace cellwarden::decode

// What the daemon would make of stored bytes at its next start, and why.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "state/batt_stat.h"

namespace cellwarden::decode {

struct Judgement {
    BattStatVerdict verdict;
    std::string name;    // "accepted", "upgraded" or "reset"
    std::string reason;  // with the offset, the value found and the value wanted
};

// Of the bytes of unit 2491; no bytes stand for an empty or unreadable unit.
Judgement judge_record(std::span<const uint8_t> bytes);

// Whether the daemon keeps the record. Only then do the bytes have its layout.
inline bool is_kept(const Judgement& judgement) {
    return judgement.verdict == BattStatVerdict::ACCEPTED ||
           judgement.verdict == BattStatVerdict::UPGRADED;
}

}  // namespace cellwarden::decode

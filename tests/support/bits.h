// Values of extended precision by their bits: what two machines must agree in.
#pragma once

#include <bit>
#include <cstdint>
#include <iomanip>
#include <ostream>

#include "platform/extended.h"

namespace cellwarden::test {

struct Bits {
    uint64_t high;
    uint64_t low;
    bool operator==(const Bits&) const = default;
};

inline Bits bits_of(extended value) {
    const auto bits = std::bit_cast<unsigned __int128>(value);
    return {static_cast<uint64_t>(bits >> 64), static_cast<uint64_t>(bits)};
}

inline std::ostream& operator<<(std::ostream& out, const Bits& bits) {
    return out << std::hex << std::setfill('0') << "0x" << std::setw(16) << bits.high << ", 0x" << std::setw(16)
               << bits.low << std::dec;
}

}  // namespace cellwarden::test

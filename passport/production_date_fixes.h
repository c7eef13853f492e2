// Phones whose stored production date is wrong, by the SHA-256 digest of their IMEI. The rows come
// from a data file of the product's build.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace cellwarden {

using ImeiDigest = std::array<uint8_t, 32>;

struct ProductionDateFix {
    ImeiDigest imei_digest;
    char production_date[7];  // YYMMDD
};

std::span<const ProductionDateFix> production_date_fixes();

}  // namespace cellwarden

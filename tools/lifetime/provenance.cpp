#include "tools/lifetime/provenance.h"

#include <openssl/sha.h>

#include <nlohmann/json.hpp>

extern "C" char cellwarden_version[];  // generated

namespace cellwarden::lifetime {

std::string program_version() {
    return cellwarden_version;
}

std::string digest_of(std::string_view text) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    std::string digits;
    for (const unsigned char byte : digest) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

nlohmann::ordered_json policy_provenance(const CarePolicy& policy) {
    nlohmann::ordered_json figures = policy_json(policy);
    return {{"name", policy.name}, {"digest", digest_of(figures.dump())}, {"figures", figures}};
}

}  // namespace cellwarden::lifetime

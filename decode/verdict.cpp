#include "decode/verdict.h"

#include "decode/reading.h"
#include "decode/record_layout.h"

namespace cellwarden::decode {
namespace {

std::string current_version() {
    BattStat fresh;
    reset_batt_stat(fresh);
    return version_text(fresh.version.data());
}

std::string version_reason(std::span<const uint8_t> bytes) {
    return "layout version " + version_text(bytes.data() + offsetof(BattStat, version)) +
           " at offset " + offset_text(offsetof(BattStat, version)) + ", expected " +
           current_version();
}

std::string size_reason(size_t size) {
    const std::string sizes =
        grouped(size) + " bytes, expected " + grouped(sizeof(BattStat)) + ": ";
    return size < sizeof(BattStat)
               ? sizes + "it ends at offset " + offset_text(size) + ", in " + place_of(size)
               : sizes + "bytes follow it from offset " + offset_text(sizeof(BattStat));
}

std::string reason_of(BattStatVerdict verdict, std::span<const uint8_t> bytes) {
    const std::string marker = "the record-valid marker at offset " + offset_text(0) + " is ";
    switch (verdict) {
        case BattStatVerdict::ACCEPTED:
            return "layout version " + current_version() + ", accepted unchanged";
        case BattStatVerdict::UPGRADED:
            return version_reason(bytes) +
                   "; the version bytes change, and the production date may be repaired";
        case BattStatVerdict::TOO_SHORT:
            return bytes.empty() ? "0 bytes"
                                 : std::to_string(bytes.size()) +
                                       " bytes, expected at least 4 for marker and version";
        case BattStatVerdict::ERASED:
            return marker + "0xFF, an erased unit; the driver is asked to learn the capacity again";
        case BattStatVerdict::ZERO_MARKER:
            return marker + "0x00, the unit was never written";
        case BattStatVerdict::WRONG_SIZE:
            return size_reason(bytes.size());
        case BattStatVerdict::UNKNOWN_VERSION:
        case BattStatVerdict::UNKNOWN_PATCH:
            return version_reason(bytes);
    }
    return "";
}

}  // namespace

Judgement judge_record(std::span<const uint8_t> bytes) {
    const BattStatVerdict verdict =
        judge_batt_stat(bytes.data(), static_cast<uint32_t>(bytes.size()));
    const std::string name = verdict == BattStatVerdict::ACCEPTED   ? "accepted"
                             : verdict == BattStatVerdict::UPGRADED ? "upgraded"
                                                                    : "reset";
    return {verdict, name, reason_of(verdict, bytes)};
}

}  // namespace cellwarden::decode

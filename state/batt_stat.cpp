// Judges and resets a record without access to the phone, so that the tools use the same code as
// the daemon.
#include "state/batt_stat.h"

namespace cellwarden {

BattStatVerdict judge_batt_stat(const uint8_t* bytes, uint32_t size) {
    constexpr uint8_t UPGRADED_PATCH = 3;
    constexpr uint32_t HEADER_SIZE = offsetof(BattStat, fcc_mah);
    if (size < HEADER_SIZE) {
        return BattStatVerdict::TOO_SHORT;
    }
    if (bytes[0] == BATT_STAT_ERASED) {
        return BattStatVerdict::ERASED;
    }
    if (bytes[0] == 0) {
        return BattStatVerdict::ZERO_MARKER;
    }
    if (bytes[1] != BATT_STAT_VERSION[0] || bytes[2] != BATT_STAT_VERSION[1]) {
        return BattStatVerdict::UNKNOWN_VERSION;
    }
    if (size != sizeof(BattStat)) {
        return BattStatVerdict::WRONG_SIZE;
    }
    if (bytes[3] == UPGRADED_PATCH) {
        return BattStatVerdict::UPGRADED;
    }
    return bytes[3] == BATT_STAT_VERSION[2] ? BattStatVerdict::ACCEPTED
                                            : BattStatVerdict::UNKNOWN_PATCH;
}

void reset_batt_stat(BattStat& stat) {
    stat = BattStat{};
    stat.initialize = 1;
    stat.version = BATT_STAT_VERSION;
    stat.max_temp = INT16_MIN;
    stat.min_temp = INT16_MAX;
    stat.arrhenius_lv.fill(LEVEL_NOT_DECIDED);
    stat.full_stay_capacity_degradation_aging_lv.fill(LEVEL_NOT_DECIDED);
}

}  // namespace cellwarden

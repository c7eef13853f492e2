#include "bench/campaign/call_faults.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace cellwarden::bench {
namespace {

constexpr const char* REPAIRED = "log cellwarden: Battery manufacturing date has been repaired";
constexpr const char* DATE_WRITTEN = "write battery/manufacturing_date 1743465600";
constexpr const char* CHARGER_SENT =
    "log cellwarden: Sending ondra event for ChargerInsertionRemoval";
constexpr const char* AGEING_SENT = "log cellwarden: Sending ondra event for BatteryDegradation2";
constexpr const char* STARTUP_HOLD =
    "log cellwarden: This phone is in startup process now, battery charge is limited.";
constexpr const char* CAMERA_HOLD =
    "log cellwarden: This phone is in camera calibration mode now, battery charge is limited.";

// "unit 2491 0123456789abcdef" is "unit 2491 #".
bool is_line(std::string_view line, std::string_view allowed) {
    constexpr size_t HASH_LENGTH = 16;
    if (!allowed.ends_with('#')) {
        return line == allowed;
    }
    allowed.remove_suffix(1);
    return line.starts_with(allowed) && line.size() == allowed.size() + HASH_LENGTH &&
           line.find_first_not_of("0123456789abcdef", allowed.size()) == line.npos;
}

}  // namespace

const std::vector<CallFault>& call_faults() {
    static const std::vector<CallFault> faults = {
        {"property", {}, "nothing: a phone without a model sends its events"},
        {"log", {REPAIRED, CHARGER_SENT, AGEING_SENT, STARTUP_HOLD, CAMERA_HOLD}, "that line"},
        {"unit-read-2227", {STARTUP_HOLD}, "the start-up hold of that start"},
        {"unit-read-66677",
         {CAMERA_HOLD, "write battchg_ext/lrc_input_suspend 1", "event ChargerInsertionRemoval #",
          "event BatteryDegradation2 #", "unit 2491 #"},
         "the camera hold of that start"},
        {"unit-read-2312", {}, "nothing: the hold was not set"},
        {"unit-read-2319",
         {"unit 2319 #", "event BatteryDegradation2 #"},
         "the count of heat episodes"},
        {"unit-read-2310", {"unit 2310 #"}, "the time of the latest heat episode"},
        // The daemon continues as with a new battery: without level, capacity, dates and cycles.
        {"unit-read-2491",
         {REPAIRED,
          AGEING_SENT,
          DATE_WRITTEN,
          "write battery/manufacturing_date 1735689600",
          "unit 2491 #",
          "unit 2802 #",
          "unit 2804 #",
          "unit 2805 #",
          "event ChargerInsertionRemoval #",
          "event BatteryDegradation2 #",
          "write battchg_ext/batt_aging_level 0",
          "write battchg_ext/batt_aging_level 1",
          "write battchg_ext/restored_capacity 4800",
          "write battchg_ext/lrc_charge_disable 1",
          "write battchg_ext/lrc_input_suspend 0",
          "write battchg_ext/lrc_input_suspend 1",
          "write battery/charge_full 4723200",
          "write battery/charge_full 4800000",
          "write battery/charge_full 5000000",
          "write battery/cycle_count 0",
          "write battery/cycle_count 120",
          "write battery/cycle_count 121",
          "write battery/state_of_health 100",
          "write battery/state_of_health 94",
          "write battery/state_of_health 96"},
         "the statistics, once the next save is due"},
        {"unit-read-2802",
         {"log cellwarden: Failed to read manufacturing_date in Tessera:2802", DATE_WRITTEN},
         "nothing: a cycle later"},
        {"unit-read-2803",
         {"log cellwarden: Failed to read first_usage_date in Tessera:2803",
          "write battery/first_usage_date 1743465600"},
         "nothing: a cycle later"},
        {"unit-write-2802",
         {"log cellwarden: Failed to write TESSERA_BATTERY_PRODUCTION_DATE", REPAIRED, DATE_WRITTEN,
          "unit 2802 #"},
         "nothing: a cycle later"},
        {"unit-write-2804",
         {"log cellwarden: Failed to save cycle_count in Tessera:2804", "unit 2804 #",
          "write battery/cycle_count 120", "write battery/cycle_count 121"},
         "nothing: a cycle later"},
        {"unit-write-2805",
         {"log cellwarden: Failed to save state_of_health in Tessera:2805", "unit 2805 #",
          "write battery/state_of_health 96", "write battery/state_of_health 94"},
         "nothing: a cycle later"},
        {"unit-write-2491",
         {"log cellwarden: Failed to save battery statistics", "unit 2491 #", "unit 2804 #",
          "write battery/cycle_count 120", "write battery/cycle_count 121"},
         "all changes since the previous save"},
        {"unit-write-2319",
         {"log cellwarden: Failed to save USB connector heat count", "unit 2319 #"},
         "episodes since the previous save"},
        {"unit-write-2310",
         {"log cellwarden: Failed to save USB connector heat time", "unit 2310 #"},
         "the time of an episode since the previous save"},
        {"imei",
         {"log cellwarden: Failed to get IMEI", REPAIRED, DATE_WRITTEN, "unit 2802 #"},
         "nothing: a cycle later"},
        {"event-library",
         {"log cellwarden: ONDRA_T for Charger_Insertion_Removal is NULL",
          "log cellwarden: ONDRA_T for BatteryDegradation is NULL", CHARGER_SENT, AGEING_SENT,
          "event ChargerInsertionRemoval #", "event BatteryDegradation2 #"},
         "that event, or its place in time"},
        {"event-library-inactive",
         {"log cellwarden: ondra_is_active: 0", CHARGER_SENT, AGEING_SENT,
          "event ChargerInsertionRemoval #", "event BatteryDegradation2 #"},
         "that event, or its place in time"},
        {"event-queue",
         {"event ChargerInsertionRemoval #", "event BatteryDegradation2 #"},
         "that event"},
    };
    return faults;
}

Transcript unexplained(const CallFault& fault, const Transcript& differing) {
    Transcript left;
    std::copy_if(
        differing.begin(), differing.end(), std::back_inserter(left), [&](const std::string& line) {
            const std::string_view text = std::string_view(line).substr(line.find(' ') + 1);
            return std::none_of(fault.may_differ.begin(), fault.may_differ.end(),
                                [&](const char* allowed) { return is_line(text, allowed); });
        });
    return left;
}

}  // namespace cellwarden::bench

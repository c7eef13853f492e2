// What files from a phone say about its battery: the statistics record, or the newest ageing event
// in place of it, and the charger connections.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "decode/event_stream.h"
#include "state/batt_stat.h"
#include "telemetry/charger_connection.h"

namespace cellwarden::decode {

// One ChargerInsertionRemoval event: a connection, or its part since the previous event. A value
// that is not in the event is 0.
struct Connection {
    std::optional<int64_t> time_s;  // when the event was sent, seconds since 1970
    std::string charger;            // text of the driver, any bytes
    // Seconds of USB connection; for a wireless charger, the sum of the thermal levels.
    uint64_t attached_s = 0;
    uint64_t from_percent = 0;  // state of charge; the daemon also sends 0 if it is not known
    uint64_t to_percent = 0;
    uint64_t level_from = 0;  // battery-care level
    uint64_t level_to = 0;
    bool was_protected = false;  // smart charging was active
    bool was_hot = false;        // the phone was at its highest thermal level
    uint64_t max_battery_uv = 0;
    uint64_t max_input_uv = 0;
    uint64_t input_limits = 0;  // times that the charger began to limit its input current
    std::array<uint64_t, THERMAL_LEVEL_COUNT> thermal_level_s{};
};

struct BatteryHistory {
    std::string phone;           // key of the phone; empty if it is unknown
    std::string source;          // "record ..., accepted: ..." or "ageing event of 2026-03-01 ..."
    BattStat stat{};             // a fresh record if there is neither a record nor an ageing event
    std::vector<uint8_t> bytes;  // the record or the packed ageing event; empty if there is neither
    std::optional<int64_t> sent_s;          // when the ageing event was sent, seconds since 1970
    std::vector<std::string_view> missing;  // fields of the record that the source does not have
    std::vector<std::string> oddities;      // of the source; those of connections come last
    size_t ageing_events = 0;
    std::vector<Connection> connections;  // in the order of time
};

// Which histories to load, and where the texts about unusable events go.
struct HistoryRequest {
    std::string path;                 // "-" is standard input
    std::vector<std::string> phones;  // keys of the wanted phones; empty: all
    size_t most_phones;               // more phones are an error
    RefuseEvent refuse;
};

// Returns the path of the record in a directory of units or of a life-time run; empty if there is
// no record.
std::filesystem::path record_in(const std::filesystem::path& directory);

// Loads a record file, a directory of units, the directory of a life-time run, a packed event, a
// directory of events or a stream. If a directory has a record and an outbox, the statistics come
// from the record. Returns one history per phone, in the order of their keys; all events of files
// without a key count as one phone. Throws InputError, with a hint if the path has data of another
// kind.
std::vector<BatteryHistory> load_histories(const HistoryRequest& request);

}  // namespace cellwarden::decode

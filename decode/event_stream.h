// Reads events of one or many phones from a packed event, an outbox, or a stream
// (decode/event_stream.proto), and writes streams.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "decode/event.h"

namespace cellwarden::decode {

// An event with its origin.
struct PhoneEvent {
    std::string place;  // "outbox/20260301T071245Z-0001-...", "fleet.events, offset 0x0E9C"
    std::string phone;  // key of the phone; empty if it is unknown
    std::optional<int64_t> time_s;  // when it was sent, seconds since 1970, from 0 to the year 9999
    std::vector<uint8_t> packed;    // the event as the phone sent it
    Event event;
};

using TakeEvent = std::function<void(PhoneEvent)>;
using RefuseEvent = std::function<void(const std::string& text)>;

// Passes every event of `path` to `take`, in the order of the file names or of the stream. `path`
// is a packed event, a stream, a directory of such files or one with an `outbox` directory; "-" is
// standard input. The time of a packed event comes from its file's name, TIME-NUMBER-CATEGORY-NAME;
// its phone is the name of its directory, or the name above if the directory is named "outbox".
// `type` is the name of the event in packed files whose name or content does not show it; it may be
// empty. Streams of any size are read event by event.
//
// Passes the place and the reason of each event that cannot be read to `refuse` and continues where
// the next event is known to start. Throws InputError if a file cannot be read, or if a directory
// has no file.
void read_events(const std::string& path, std::string_view type, const TakeEvent& take,
                 const RefuseEvent& refuse);

// Does the same with the content of a file that is already in memory.
void read_events_in(std::vector<uint8_t> bytes, const std::string& path, std::string_view type,
                    const TakeEvent& take, const RefuseEvent& refuse);

// Appends the event to a stream.
void write_event(std::ostream& stream, const PhoneEvent& event);

// Returns what the bytes are, for the message about an input of the wrong kind: "a statistics
// record", "a BatteryDegradation2 event", "a stream of events"; empty if they are none of these.
std::string kind_of(std::span<const uint8_t> bytes);

}  // namespace cellwarden::decode

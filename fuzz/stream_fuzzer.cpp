// Fuzzes the reader of events and streams. Each event that is read is written to a stream, which is
// read again with the same events; each ageing event becomes a record that the daemon keeps, or is
// refused with a reason.
#include <sstream>

#include "decode/event_record.h"
#include "decode/event_stream.h"
#include "decode/oddities.h"
#include "decode/verdict.h"
#include "fuzz/field_seeds.h"
#include "fuzz/fuzzing.h"

namespace cellwarden::fuzz {
namespace {

using decode::PhoneEvent;

std::vector<PhoneEvent> events_of(const std::string& bytes, bool may_refuse) {
    std::vector<PhoneEvent> events;
    decode::read_events_in(
        {bytes.begin(), bytes.end()}, "input", {},
        [&](PhoneEvent found) { events.push_back(std::move(found)); },
        [&](const std::string& text) {
            promise(may_refuse, "a written stream is read without faults");
            promise(text.starts_with("input"), "the message names the file");
        });
    return events;
}

void check_record(const decode::Event& event) {
    (void)decode::oddities_of(event);
    try {
        const decode::RecordOfEvent found = decode::record_of_event(event);
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&found.stat);
        promise(decode::is_kept(decode::judge_record({bytes, sizeof found.stat})),
                "the record of an event is one that the daemon keeps");
        (void)decode::oddities_of(found.stat);
    } catch (const decode::EventError&) {
    }
}

}  // namespace

std::vector<std::string> seeds() {
    return {seed_stream(), seed_ageing_event(), seed_connection(), seed_record(), ""};
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    const std::vector<decode::PhoneEvent> events =
        fuzz::events_of(fuzz::Input(data, size).text(size), true);
    std::ostringstream stream;
    for (const decode::PhoneEvent& event : events) {
        fuzz::check_record(event.event);
        decode::write_event(stream, event);
    }
    if (events.empty()) {
        return 0;  // an empty file is not a stream
    }
    const std::vector<decode::PhoneEvent> again = fuzz::events_of(stream.str(), false);
    fuzz::promise(again.size() == events.size(), "a stream holds every event that was written");
    for (size_t i = 0; i < again.size(); i++) {
        fuzz::promise(again[i].phone == events[i].phone && again[i].time_s == events[i].time_s &&
                          again[i].event.name == events[i].event.name &&
                          again[i].event.fields.size() == events[i].event.fields.size(),
                      "an event of a stream is the one that was written");
    }
    return 0;
}

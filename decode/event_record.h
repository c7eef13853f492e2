// The statistics record that an ageing event describes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "decode/event.h"
#include "state/batt_stat.h"

namespace cellwarden::decode {

struct RecordOfEvent {
    BattStat stat;
    std::vector<std::string_view> missing;  // the record's fields without a value in the event
    std::vector<std::string> oddities;      // values that a record cannot hold, one line for each
};

// Returns the record with the values of a BatteryDegradation2 event. A field or an element that is
// not in the event, or that its field of the record cannot hold, has the value of a fresh record.
// The daemon never sends shutdown_capacity, soft_charge_override, the learned-capacity history and
// some counters, so these are always missing; reserved bytes are zero. Throws EventError if the
// event is of another type or if the daemon would not keep a record of the event's layout version.
RecordOfEvent record_of_event(const Event& event);

}  // namespace cellwarden::decode

// The statistics record in the unit store of a scenario.
#pragma once

#include <string>

#include "common/json_reader.h"

namespace cellwarden::bench {

// Reads an object whose keys are fields of the record. Returns the bytes of a fresh record with
// those fields set. The value of a field is the stored number; an array has the first elements,
// a text field a text. Throws InputError with the position of an unknown field name or of a value
// out of range.
std::string read_record(const JsonPlace& place);

}  // namespace cellwarden::bench

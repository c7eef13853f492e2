// The statistics record that a scenario's unit store starts with.
#pragma once

#include <string>

#include "common/json_reader.h"

namespace cellwarden::bench {

// Reads an object with names of the record's fields, and gives the record's stored bytes: those of
// a record that knows nothing of its battery, with the named fields set. A field takes a number, an
// array its first elements, a text field a text; all as they are stored.
// Throws InputError with the place of a name that is none or of a value that does not fit.
std::string read_record(const JsonPlace& place);

}  // namespace cellwarden::bench

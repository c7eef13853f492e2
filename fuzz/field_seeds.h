// Seeds of the targets that read what phones send: a record, an ageing event, a connection.
#pragma once

#include <string>

namespace cellwarden::fuzz {

// Returns a record with numbers in every group of fields.
std::string seed_record();

// Return the events as the daemon packs them, and a stream of both.
std::string seed_ageing_event();
std::string seed_connection();
std::string seed_stream();

}  // namespace cellwarden::fuzz

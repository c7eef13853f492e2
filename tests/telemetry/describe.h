// A charger connection in one line.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "telemetry/charger_connection.h"

namespace cellwarden::test {

// `name=value` for everything in the connection, and in `more`, that is not zero or empty.
std::string describe(const ChgInsertionRemovalData& connection,
                     const std::vector<std::pair<std::string, int64_t>>& more = {});

}  // namespace cellwarden::test

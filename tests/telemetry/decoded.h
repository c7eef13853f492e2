// Events as their readers see them: decoded by protoc, which shares no code with the daemon.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace cellwarden::test {

// The fields that an event carries, by name (a field that the schema does not know stands under its
// number), each with its values in protoc's text form, in order.
using Fields = std::map<std::string, std::vector<std::string>>;

// The test fails where protoc cannot decode the event, or encodes the same fields to other bytes.
Fields decoded(const std::string& event_name, const std::string& data);

}  // namespace cellwarden::test

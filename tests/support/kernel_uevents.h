// Uevents that the kernel broadcasts for a test, in a network namespace of the test's own.
#pragma once

#include <string>

namespace cellwarden::test {

// Hands a message to the kernel, which broadcasts it in this network namespace with a sequence number of its own at the
// end.
void broadcast_through_kernel(const std::string& message);

// A power-supply uevent of that supply.
std::string uevent_of(const std::string& supply);

}  // namespace cellwarden::test

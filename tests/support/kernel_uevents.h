// Uevents that the kernel broadcasts for a test, in the test's own network namespace.
#pragma once

#include <string>

namespace cellwarden::test {

// Passes a message to the kernel, which appends its own sequence number and broadcasts it in this network namespace.
void broadcast_through_kernel(const std::string& message);

// Returns a uevent of this power supply.
std::string uevent_of(const std::string& supply);

}  // namespace cellwarden::test

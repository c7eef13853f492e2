// Namespaces of the process, so that its mounts and messages are not visible outside.
#pragma once

namespace cellwarden::test {

// Moves the process to a new mount namespace, and first to a new user namespace if it is not root.
void enter_namespaces();

// Moves the process to a new network namespace, in which it may send uevents.
void enter_network_namespace();

// If the machine forbids namespaces, these functions end the process with a message that says what to change.
void require(bool done, const char* what);

}  // namespace cellwarden::test

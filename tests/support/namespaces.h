// Namespaces of the process's own, so that nothing it mounts or sends is seen outside.
#pragma once

namespace cellwarden::test {

// Gives the process a mount namespace of its own, and a user namespace where it is not root.
void enter_namespaces();

// Gives the process a network namespace of its own, where it may send uevents.
void enter_network_namespace();

// Where the machine refuses, all of these end the process, with a message that says what to change.
void require(bool done, const char* what);

}  // namespace cellwarden::test

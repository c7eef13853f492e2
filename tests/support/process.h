// What belongs to the test process itself: its namespaces, children that keep a test's traces out
// of it, and its heap.
#pragma once

#include <cstddef>
#include <functional>

namespace cellwarden::test {

// Gives the process a mount namespace of its own, and a user namespace where it is not root.
void enter_namespaces();

// Gives the process a network namespace of its own, where it may send uevents.
void enter_network_namespace();

// Where the machine refuses, all of these end the process, with a message that says what to change.
void require(bool done, const char* what);

// Runs `body` in a child process, for code that remembers values for the process's life. The test
// fails where an expectation in the child does, or where it ends otherwise than by returning.
void in_own_process(const std::function<void()>& body);

// Calls of malloc, calloc and realloc by this process so far, the C library's own included. Under
// the sanitizers, which bring their own heap, always 0, and nothing can be made to fail.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool HEAP_IS_WATCHED = false;
#else
inline constexpr bool HEAP_IS_WATCHED = true;
#endif
size_t heap_calls();

// From now on malloc finds no memory, or finds it again.
void set_heap_empty(bool empty);

}  // namespace cellwarden::test

// What belongs to the test process itself: children that keep a test's traces out of it, and its
// heap.
#pragma once

#include <cstddef>
#include <functional>

namespace cellwarden::test {

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

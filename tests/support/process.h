// What belongs to the test process itself: children that keep a test's traces out of it, and its
// heap.
#pragma once

#include <cstddef>
#include <functional>

namespace cellwarden::test {

// Runs `body` in a child process, for code that remembers values for the process's life. The test
// fails where an expectation in the child does, or where it ends otherwise than by returning.
void in_own_process(const std::function<void()>& body);

// The heap of the whole process, the C library's own use included. Not under the address sanitizer,
// which brings a heap of its own.
#ifndef __SANITIZE_ADDRESS__
size_t heap_calls();              // calls of malloc, calloc and realloc so far
void set_heap_empty(bool empty);  // from now on malloc finds no memory, or finds it again
#endif

}  // namespace cellwarden::test

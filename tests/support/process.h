// What belongs to the test process itself: children that keep a test's traces out of it, and the
// daemon's heap.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace cellwarden::test {

// Runs `body` in a child process, for code that remembers values for the process's life. The test
// fails where an expectation in the child does, or where it ends otherwise than by returning.
void in_own_process(const std::function<void()>& body);

// The daemon's own calls of malloc: the linker sends them, and no library's, to the tests.
extern bool heap_is_empty;               // malloc finds no memory
extern std::vector<size_t> heap_blocks;  // sizes asked for, in order
inline size_t heap_calls() {
    return heap_blocks.size();
}

}  // namespace cellwarden::test

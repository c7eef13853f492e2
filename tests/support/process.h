// Children that keep a test's traces out of the test process.
#pragma once

#include <cstddef>
#include <functional>

namespace cellwarden::test {

// Runs `body` in a child process, for code that remembers values for the process's life. The test
// fails where an expectation in the child does, or where it ends otherwise than by returning.
void in_own_process(const std::function<void()>& body);

// From now on the kernel accepts nothing of a write of exactly `size` bytes in this process: the
// call returns 0. For a child; returns false where the kernel has no such filter (an emulator).
bool accept_nothing_of_writes(size_t size);

}  // namespace cellwarden::test

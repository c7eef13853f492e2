// Runs parts of tests in child processes.
#pragma once

#include <cstddef>
#include <functional>

namespace cellwarden::test {

// Runs `body` in a child process, for code that keeps values for the life of the process. The test fails
// if an expectation in the child fails, or if the child ends without returning from `body`.
void in_own_process(const std::function<void()>& body);

// Makes every later write of exactly `size` bytes in this process return 0. Call it only in a child
// process. Returns false if the kernel has no such filter (in an emulator).
bool accept_nothing_of_writes(size_t size);

}  // namespace cellwarden::test

// Children that keep a test's traces out of the test process.
#pragma once

#include <functional>

namespace cellwarden::test {

// Runs `body` in a child process, for code that remembers values for the process's life. The test
// fails where an expectation in the child does, or where it ends otherwise than by returning.
void in_own_process(const std::function<void()>& body);

}  // namespace cellwarden::test

// Calls of write() with results that a test chooses; the linker sends the program's own calls here.
#pragma once

#include <sys/types.h>

#include <deque>

namespace cellwarden::test {

// What the next calls return, in order: that many bytes are written, and -1 fails. Calls after
// these write all that they are given.
extern std::deque<ssize_t> write_results;

}  // namespace cellwarden::test

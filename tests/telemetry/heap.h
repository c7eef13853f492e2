// The daemon's calls of malloc: the linker sends them, and no others, to the tests' own.
#pragma once

#include <cstddef>
#include <vector>

namespace cellwarden::test {

extern bool heap_is_empty;               // malloc finds no memory
extern std::vector<size_t> heap_blocks;  // sizes asked for, in order

}  // namespace cellwarden::test

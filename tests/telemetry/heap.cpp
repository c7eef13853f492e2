#include "telemetry/heap.h"

namespace cellwarden::test {

bool heap_is_empty = false;
std::vector<size_t> heap_blocks;

}  // namespace cellwarden::test

extern "C" {

void* __real_malloc(size_t size);

void* __wrap_malloc(size_t size) {
    cellwarden::test::heap_blocks.push_back(size);
    return cellwarden::test::heap_is_empty ? nullptr : __real_malloc(size);
}
}

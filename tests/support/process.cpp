#include "support/process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#ifndef __SANITIZE_ADDRESS__
namespace {

size_t calls;
bool heap_is_empty;

}  // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) {
    calls++;
    return heap_is_empty ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    calls++;
    return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    calls++;
    return __libc_realloc(block, size);
}
}

namespace cellwarden::test {

size_t heap_calls() {
    return calls;
}

void set_heap_empty(bool empty) {
    heap_is_empty = empty;
}

}  // namespace cellwarden::test
#endif

namespace cellwarden::test {

void in_own_process(const std::function<void()>& body) {
    (void)fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        (void)fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "in the process of its own";
}

}  // namespace cellwarden::test

#include "fuzz/fuzzing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace cellwarden::fuzz {

void promise(bool holds, const char* what) {
    if (!holds) {
        (void)fprintf(stderr, "broken: %s\n", what);
        abort();
    }
}

uint32_t Input::number(size_t bytes) {
    uint32_t value = 0;
    const size_t there = std::min(bytes, left_);
    for (size_t i = 0; i < there; i++) {
        value |= uint32_t{at_[i]} << (8 * i);
    }
    at_ += there;
    left_ -= there;
    return value;
}

std::string Input::text(size_t length) {
    const size_t there = std::min(length, left_);
    const std::string text(reinterpret_cast<const char*>(at_), there);
    at_ += there;
    left_ -= there;
    return text;
}

}  // namespace cellwarden::fuzz

// libFuzzer calls this once, before anything else.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // What the fakes of the phone's libraries expect of the daemon is a promise too.
    GTEST_FLAG_SET(break_on_failure, true);
    if (*argc == 3 && strcmp((*argv)[1], "--seeds") == 0) {
        const std::filesystem::path folder = (*argv)[2];
        int count = 0;
        for (const std::string& seed : cellwarden::fuzz::seeds()) {
            std::ofstream(folder / ("seed-" + std::to_string(count++)), std::ios::binary) << seed;
        }
        exit(0);
    }
    return 0;
}

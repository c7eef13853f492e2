#include "fuzz/fuzzing.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace cellwarden::fuzz {

void promise(bool holds, const char* what) {
    if (!holds) {
        (void)fprintf(stderr, "broken promise: %s\n", what);
        abort();
    }
}

uint32_t Input::number(size_t bytes) {
    uint32_t value = 0;
    const std::string taken = text(bytes);
    memcpy(&value, taken.data(), taken.size());
    return value;
}

std::string Input::text(size_t length) {
    const std::string taken(rest_.substr(0, length));
    rest_.remove_prefix(taken.size());
    return taken;
}

}  // namespace cellwarden::fuzz

// libFuzzer calls this once, before anything else.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
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

// Stand-in for libquillon_vendor. The IMEI of selector N is the text of imei/N. Fault: imei.
#include "platform/device/quillon.h"

#include <cstdlib>
#include <cstring>

#include "bench/device/bench_files.h"

int quillon_get_imei(int selector, char** text, uint32_t* length) {
    using namespace cellwarden::bench;
    if (selector < 0 || selector > 9 || fault_is_on("imei")) {
        return -1;
    }
    const char name[] = {static_cast<char>('0' + selector), '\0'};
    BenchPath path;
    char imei[64] = {};
    size_t size = 0;
    if (set_bench_path(path, "imei", name) != 0 ||
        read_bench_file(path, imei, sizeof imei - 1, size) != 0) {
        return -1;
    }
    imei[strcspn(imei, "\n")] = '\0';
    *text = strdup(imei);
    if (*text == nullptr) {
        return -1;
    }
    *length = static_cast<uint32_t>(strlen(imei));
    return 0;
}

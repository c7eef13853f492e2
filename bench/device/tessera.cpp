// Stand-in for libtessera: each unit is a file. Faults: unit-store (every call), unit-read-NUMBER,
// unit-write-NUMBER.
#include "platform/device/tessera.h"

#include <cstdio>

#include "bench/device/bench_files.h"

namespace {

struct UnitName {
    char text[16];
};

UnitName unit_name(uint32_t unit) {
    UnitName name;
    (void)snprintf(name.text, sizeof name.text, "%u", unit);
    return name;
}

}  // namespace

int32_t tessera_read_unit(uint32_t unit, void* buffer, uint32_t* size) {
    using namespace cellwarden::bench;
    BenchPath path;
    size_t stored_size = 0;
    if (fault_is_on("unit-store") || fault_is_on("unit-read-%u", unit) ||
        set_bench_path(path, "units", unit_name(unit).text) != 0 ||
        read_bench_file(path, buffer, *size, stored_size) != 0) {
        return -1;
    }
    *size = static_cast<uint32_t>(stored_size);
    return 0;
}

int32_t tessera_write_unit(uint32_t unit, const void* buffer, uint32_t size) {
    using namespace cellwarden::bench;
    if (fault_is_on("unit-store") || fault_is_on("unit-write-%u", unit)) {
        return -1;
    }
    return replace_bench_file("units", unit_name(unit).text, buffer, size);
}

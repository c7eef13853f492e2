// Stand-in for libtessera. Each unit is a file. Faults: unit-store (every call), unit-read-NUMBER,
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

// `call` is "read" or "write".
bool unit_fails(const char* call, uint32_t unit) {
    char fault[32];
    (void)snprintf(fault, sizeof fault, "unit-%s-%u", call, unit);
    return cellwarden::bench::fault_is_on("unit-store") || cellwarden::bench::fault_is_on(fault);
}

}  // namespace

int32_t tessera_read_unit(uint32_t unit, void* buffer, uint32_t* size) {
    using namespace cellwarden::bench;
    BenchPath path;
    size_t stored_size = 0;
    if (unit_fails("read", unit) || set_bench_path(path, "units", unit_name(unit).text) != 0 ||
        read_bench_file(path, buffer, *size, stored_size) != 0) {
        return -1;
    }
    *size = static_cast<uint32_t>(stored_size);
    return 0;
}

int32_t tessera_write_unit(uint32_t unit, const void* buffer, uint32_t size) {
    using namespace cellwarden::bench;
    if (unit_fails("write", unit)) {
        return -1;
    }
    return replace_bench_file("units", unit_name(unit).text, buffer, size);
}

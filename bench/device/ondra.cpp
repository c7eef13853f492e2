// Stand-in for libondra. Each event is a file in the outbox, named TIME-NUMBER-CATEGORY-NAME with
// the time in UTC and the number of the event in this process, so that the names sort by age.
// Faults: event-library (no handle), event-library-inactive, event-queue.
#include "platform/device/ondra.h"

#include <cstdio>
#include <ctime>

#include "bench/device/bench_files.h"

namespace {

char library_handle;  // its address is the handle

// A '/' in the name of the event becomes a '_'.
void set_event_file_name(char* name, size_t size, const char* category, const char* event) {
    static unsigned event_count = 0;
    const time_t now = time(nullptr);
    struct tm utc = {};
    char stamp[32] = {};
    (void)strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", gmtime_r(&now, &utc));
    (void)snprintf(name, size, "%s-%04u-%s-%s", stamp, ++event_count, category, event);
    for (; *name != '\0'; name++) {
        if (*name == '/') {
            *name = '_';
        }
    }
}

}  // namespace

void* ondra_create(void) {
    return cellwarden::bench::fault_is_on("event-library") ? nullptr : &library_handle;
}

int ondra_is_active(void* handle) {
    return handle == &library_handle && !cellwarden::bench::fault_is_on("event-library-inactive");
}

int ondra_add_event(void* handle, const char* category, const char* name, const void* data,
                    size_t length) {
    if (handle != &library_handle || cellwarden::bench::fault_is_on("event-queue")) {
        return -1;
    }
    char file_name[192];
    set_event_file_name(file_name, sizeof file_name, category, name);
    return cellwarden::bench::replace_bench_file("outbox", file_name, data, length);
}

void ondra_destroy(void** handle) {
    *handle = nullptr;
}

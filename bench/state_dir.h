// The directory that the stand-in device libraries work in: the bench's side of it. Its layout is
// in bench/device/bench_files.h.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "bench/scenario.h"
#include "decode/event.h"

namespace cellwarden::bench {

// Makes a new directory of its own under the system's temporary directory.
std::filesystem::path make_temporary_state_dir();

// Makes the folders, and writes what the scenario says about units, properties and the IMEI. A unit
// that the store already has keeps its content: it is what an earlier run left.
void prepare_state_dir(const std::filesystem::path& top, const Scenario& scenario);

void switch_fault(const std::filesystem::path& top, const std::string& fault, bool on);

// One unit of the store, by its file.
struct StoredUnit {
    uint32_t unit = 0;
    uint64_t size = 0;  // bytes
    std::string
        value;  // what is short reads as a number ("121") or a text ("250401"); empty: neither
};
StoredUnit read_stored_unit(const std::filesystem::path& file);

// One event of the outbox, by its file.
struct OutboxEvent {
    std::string category;
    std::string name;
    uint64_t size = 0;      // bytes of the message
    decode::Event content;  // without fields where the bytes are no event of that name
    std::string fault;      // and why they are none
};
OutboxEvent read_outbox_event(const std::filesystem::path& file);

}  // namespace cellwarden::bench

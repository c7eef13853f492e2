// The directory of the stand-in device libraries, as the bench uses it. bench/device/bench_files.h
// describes its layout.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "bench/scenario.h"
#include "decode/event.h"

namespace cellwarden::bench {

// Creates a directory in the system's temporary directory. Returns its path.
std::filesystem::path make_temporary_state_dir();

// Creates the folders and writes the units, properties and the IMEI of the scenario. Units that
// exist keep the content of the earlier run.
void prepare_state_dir(const std::filesystem::path& top, const Scenario& scenario);

void switch_fault(const std::filesystem::path& top, const std::string& fault, bool on);

// One unit of the store.
struct StoredUnit {
    uint32_t unit = 0;
    uint64_t size = 0;  // bytes
    std::string value;  // a short content as number ("121") or text ("250401"); else empty
};

// Returns the number of the unit that a file in `units` is named by; nullopt for a foreign file.
std::optional<uint32_t> unit_of_file(const std::filesystem::path& file);

// Reads a file in `units`. Returns nullopt for a foreign file.
std::optional<StoredUnit> read_stored_unit(const std::filesystem::path& file);

// One event of the outbox.
struct OutboxEvent {
    std::string category;
    std::string name;
    uint64_t size = 0;      // bytes of the message
    decode::Event content;  // without fields if the file is not an event of that name
    std::string fault;      // the reason in that case; else empty
};

// Reads a file in `outbox`. Returns nullopt if it is not named TIME-NUMBER-CATEGORY-NAME.
std::optional<OutboxEvent> read_outbox_event(const std::filesystem::path& file);

}  // namespace cellwarden::bench

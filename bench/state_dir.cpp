#include "bench/state_dir.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "bench/system_error.h"
#include "common/text.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

void write_file(const fs::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    if (!stream.flush()) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

std::string read_file(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Units of 1, 2, 4 and 8 bytes contain a little-endian number that is never negative.
std::string unit_value(const std::string& bytes) {
    if (bytes.size() <= sizeof(uint64_t) && std::has_single_bit(bytes.size())) {
        uint64_t number = 0;
        for (size_t i = 0; i < bytes.size(); i++) {
            number |= uint64_t{static_cast<uint8_t>(bytes[i])} << (8 * i);
        }
        return std::to_string(number);
    }
    const auto is_plain = [](unsigned char c) { return c >= ' ' && c <= '~'; };
    return std::all_of(bytes.begin(), bytes.end(), is_plain) ? bytes : "";
}

}  // namespace

fs::path make_temporary_state_dir() {
    std::string path = (fs::temp_directory_path() / "cellwarden-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw_system_error(path, errno);
    }
    return path;
}

void prepare_state_dir(const fs::path& top, const Scenario& scenario) {
    for (const char* folder : {"units", "outbox", "properties", "imei", "faults"}) {
        fs::create_directories(top / folder);
    }
    for (const auto& [unit, bytes] : scenario.units) {
        const fs::path path = top / "units" / std::to_string(unit);
        if (!fs::exists(path)) {
            write_file(path, bytes);
        }
    }
    for (const auto& [key, text] : scenario.properties) {
        write_file(top / "properties" / key, text);
    }
    if (!scenario.imei.empty()) {
        write_file(top / "imei" / "1", scenario.imei);
    }
}

void switch_fault(const fs::path& top, const std::string& fault, bool on) {
    const fs::path path = top / "faults" / fault;
    if (on) {
        write_file(path, "");
    } else {
        fs::remove(path);
    }
}

std::optional<uint32_t> unit_of_file(const fs::path& file) {
    const std::string name = file.filename();
    uint32_t unit = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), unit);
    const bool is_unit = error == std::errc() && end == name.data() + name.size();
    return is_unit ? std::optional(unit) : std::nullopt;
}

std::optional<StoredUnit> read_stored_unit(const fs::path& file) {
    const std::optional<uint32_t> unit = unit_of_file(file);
    if (!unit) {
        return std::nullopt;
    }
    const std::string bytes = read_file(file);
    return StoredUnit{*unit, bytes.size(), unit_value(bytes)};
}

std::optional<OutboxEvent> read_outbox_event(const fs::path& file) {
    // TIME-NUMBER-CATEGORY-NAME
    const std::string name = file.filename().string();
    const size_t number = name.find('-');
    const size_t category = number == name.npos ? name.npos : name.find('-', number + 1);
    const size_t event = category == name.npos ? name.npos : name.find('-', category + 1);
    if (event == name.npos) {
        return std::nullopt;
    }
    const std::string bytes = read_file(file);
    OutboxEvent found{.category = printable(name.substr(category + 1, event - category - 1)),
                      .name = printable(name.substr(event + 1)),
                      .size = bytes.size(),
                      .content = {},
                      .fault = {}};
    try {
        found.content = decode::decode_event(
            {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, found.name);
    } catch (const decode::EventError& error) {
        found.fault = error.what();
    }
    return found;
}

}  // namespace cellwarden::bench

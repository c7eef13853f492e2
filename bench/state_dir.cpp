#include "bench/state_dir.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

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

}  // namespace

fs::path make_temporary_state_dir() {
    std::string path = (fs::temp_directory_path() / "cellwarden-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
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

OutboxEvent read_outbox_event(const fs::path& file) {
    // TIME-NUMBER-CATEGORY-NAME
    const std::string name = file.filename().string();
    const size_t number = name.find('-');
    const size_t category = name.find('-', number + 1);
    const size_t event = name.find('-', category + 1);
    if (number == name.npos || category == name.npos || event == name.npos) {
        throw std::runtime_error(file.string() + ": no event of the outbox");
    }
    OutboxEvent found{.category = name.substr(category + 1, event - category - 1),
                      .name = name.substr(event + 1),
                      .size = fs::file_size(file),
                      .content = {},
                      .fault = {}};
    std::ifstream stream(file, std::ios::binary);
    const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(stream), {});
    try {
        found.content = decode::decode_event(bytes, found.name);
    } catch (const decode::EventError& error) {
        found.fault = error.what();
    }
    return found;
}

}  // namespace cellwarden::bench

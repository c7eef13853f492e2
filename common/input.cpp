#include "common/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace cellwarden {
namespace {

// Larger than anything that a phone stores or sends, and than any scenario or profile.
constexpr size_t LARGEST_INPUT = size_t{16} << 20;
constexpr size_t CHUNK = size_t{64} << 10;

struct CloseFile {
    void operator()(FILE* file) const { (void)fclose(file); }
};

}  // namespace

std::vector<uint8_t> read_input(const std::string& path) {
    const bool is_stdin = path == "-";
    const std::unique_ptr<FILE, CloseFile> opened(is_stdin ? nullptr : fopen(path.c_str(), "rbe"));
    FILE* const file = is_stdin ? stdin : opened.get();
    if (file == nullptr) {
        throw InputError(path + ": " + strerror(errno));
    }
    std::vector<uint8_t> bytes;
    size_t length = 0;
    do {
        bytes.resize(length + CHUNK);
        length += fread(bytes.data() + length, 1, CHUNK, file);
    } while (length == bytes.size() && length <= LARGEST_INPUT);
    bytes.resize(length);
    if (ferror(file) != 0) {
        throw InputError(path + ": " + strerror(errno));
    }
    if (length > LARGEST_INPUT) {
        throw InputError(path + ": larger than 16 MiB");
    }
    return bytes;
}

std::vector<std::filesystem::path> files_of(const std::filesystem::path& directory) {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        if (entry.is_regular_file() && !entry.path().filename().string().starts_with('.')) {
            files.push_back(entry.path());
        }
    }
    if (error) {
        throw InputError(directory.string() + ": " + error.message());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace cellwarden

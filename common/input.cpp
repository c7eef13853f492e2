#include "common/input.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace cellwarden {
namespace {

constexpr size_t CHUNK = size_t{64} << 10;

}  // namespace

InputFile::InputFile(std::string path)
    : path_(std::move(path)), opened_(path_ == "-" ? nullptr : fopen(path_.c_str(), "rbe")) {
    if (!opened_ && path_ != "-") {
        throw InputError(path_ + ": " + strerror(errno));
    }
}

size_t InputFile::read(std::span<uint8_t> to) {
    FILE* const file = opened_ ? opened_.get() : stdin;
    const size_t length = fread(to.data(), 1, to.size(), file);
    if (ferror(file) != 0) {
        throw InputError(path_ + ": " + strerror(errno));
    }
    return length;
}

std::vector<uint8_t> read_input(const std::string& path) {
    InputFile file(path);
    std::vector<uint8_t> bytes;
    size_t length = 0;
    do {
        bytes.resize(length + CHUNK);
        length += file.read(std::span(bytes).subspan(length));
    } while (length == bytes.size() && length <= LARGEST_INPUT);
    bytes.resize(length);
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

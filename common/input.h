// Input files and standard input of the desk's programs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace cellwarden {

// An input that a program cannot use: it cannot be read, or its content is not what it must be. The
// text names the file and the reason; programs exit with 2.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A file that is read from its start to its end; "-" is standard input.
class InputFile {
  public:
    // Throws InputError if the file cannot be opened.
    explicit InputFile(std::string path);

    // Reads up to the size of `to`; returns fewer bytes only at the end of the file. Throws
    // InputError.
    size_t read(std::span<uint8_t> to);

  private:
    struct CloseFile {
        void operator()(FILE* file) const { (void)fclose(file); }
    };
    std::string path_;
    std::unique_ptr<FILE, CloseFile> opened_;  // null for standard input
};

// Larger than anything that a phone stores or sends, and than any scenario or profile; streams of
// events may be larger.
inline constexpr size_t LARGEST_INPUT = size_t{16} << 20;

// Returns the whole content of a file of at most LARGEST_INPUT bytes; "-" is standard input. Throws
// InputError.
std::vector<uint8_t> read_input(const std::string& path);

// Returns the files of a directory in the order of their names, without hidden ones. Throws
// InputError.
std::vector<std::filesystem::path> files_of(const std::filesystem::path& directory);

}  // namespace cellwarden

#include "fuzz/field_files.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "common/input.h"
#include "common/text.h"
#include "fuzz/fuzzing.h"

namespace cellwarden::fuzz {
namespace {

struct WorkFolder {
    std::filesystem::path path = [] {
        std::string made =
            (std::filesystem::temp_directory_path() / "cellwarden-fuzz-XXXXXX").string();
        promise(mkdtemp(made.data()) != nullptr, "a directory can be made");
        return made;
    }();
    WorkFolder() = default;
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    WorkFolder(WorkFolder&&) = delete;
    WorkFolder& operator=(WorkFolder&&) = delete;
    ~WorkFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

}  // namespace

const std::filesystem::path& work_folder() {
    static const WorkFolder folder;
    return folder.path;
}

std::string write_file(const std::string& name, const std::string& bytes) {
    const std::filesystem::path path = work_folder() / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    return path.string();
}

Printed printed_by(const std::function<int()>& command) {
    std::ostringstream out;
    std::ostringstream messages;
    std::streambuf* const old_out = std::cout.rdbuf(out.rdbuf());
    std::streambuf* const old_messages = std::cerr.rdbuf(messages.rdbuf());
    int code = -1;
    try {
        code = command();
    } catch (const InputError& error) {
        complain("fuzz", error.what());
    }
    std::cout.rdbuf(old_out);
    std::cerr.rdbuf(old_messages);
    return {code, out.str(), messages.str()};
}

void promise_plain(const std::string& text) {
    promise(std::none_of(text.begin(), text.end(),
                         [](char c) {
                             const auto byte = static_cast<unsigned char>(c);
                             return (byte < ' ' && c != '\n') || byte == 0x7F;
                         }),
            "no control character of a file is printed");
}

}  // namespace cellwarden::fuzz

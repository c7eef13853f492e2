// A test with a directory of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace cellwarden::test {

// Returns the content of a file; empty if it does not exist.
inline std::string text_of_file(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class FolderTest : public testing::Test {
  protected:
    FolderTest() : FolderTest(temporary_folder()) {}
    explicit FolderTest(std::filesystem::path folder) : top(std::move(folder)) {}
    ~FolderTest() override { std::filesystem::remove_all(top); }

    void write(const std::string& name, const std::string& bytes) const {
        std::filesystem::create_directories((top / name).parent_path());
        std::ofstream(top / name, std::ios::binary) << bytes;
    }
    [[nodiscard]] std::string read(const std::string& name) const { return text_of_file(top / name); }

    const std::filesystem::path top;

  private:
    static std::filesystem::path temporary_folder() {
        std::string path = (std::filesystem::temp_directory_path() / "cellwarden-test-XXXXXX").string();
        EXPECT_NE(mkdtemp(path.data()), nullptr) << path;
        return path;
    }
};

}  // namespace cellwarden::test

// A test that runs programs in a directory of its own.
#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "state/batt_stat.h"
#include "support/command.h"

namespace cellwarden::test {

class ToolTest : public testing::Test {
  protected:
    ToolTest() { std::filesystem::create_directory(top); }
    ~ToolTest() override { std::filesystem::remove_all(top); }

    void write(const std::string& name, const std::string& bytes) const {
        std::filesystem::create_directories((top / name).parent_path());
        std::ofstream(top / name, std::ios::binary) << bytes;
    }
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream stream(top / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // Returns the expected text from a file of this folder.
    [[nodiscard]] static std::string expected(const char* name) {
        std::ifstream stream(std::string(TOOLS_TESTS "/") + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    CommandResult run(const std::string& command) const { return run_command("cd " + top.string() + " && " + command); }

    const std::filesystem::path top =
        std::filesystem::temp_directory_path() / ("tools_test-" + std::to_string(getpid()));
};

inline std::string bytes_of(const BattStat& stat) {
    return {reinterpret_cast<const char*>(&stat), sizeof stat};
}

}  // namespace cellwarden::test

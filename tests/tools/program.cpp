#include "program.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#ifndef RUN_WITH
#define RUN_WITH ""
#endif

namespace cellwarden::test {

Outcome run_line(const std::string& line) {
    FILE* const pipe = popen(("(" + line + ") 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("popen: " + line);
    }
    Outcome outcome{};
    char buffer[4096];
    for (size_t count = 0; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        outcome.output.append(buffer, count);
    }
    outcome.exit_code = WEXITSTATUS(pclose(pipe));
    return outcome;
}

std::string command(const std::string& program) {
    return RUN_WITH + program + " ";
}

TestDirectory::TestDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "cellwarden-tools-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + name);
    }
    top_ = name;
}

TestDirectory::~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(top_, ignored);
}

void TestDirectory::write(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories((top_ / name).parent_path());
    std::ofstream(top_ / name, std::ios::binary) << bytes;
}

std::string bytes_of(const BattStat& stat) {
    return {reinterpret_cast<const char*>(&stat), sizeof stat};
}

}  // namespace cellwarden::test

// Programs as a shell starts them, in a directory of the test's own.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "stats/batt_stat.h"

namespace cellwarden::test {

struct Outcome {
    int exit_code;
    std::string output;  // standard output and standard error
};

// Runs a line of shell.
Outcome run_line(const std::string& line);

// "PROGRAM ", through the emulator where the program is of another machine.
std::string command(const std::string& program);

// A directory that goes with the test.
class TestDirectory {
  public:
    TestDirectory();
    ~TestDirectory();
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    std::string path(const std::string& name) const { return top_ / name; }
    void write(const std::string& name, const std::string& bytes) const;

  private:
    std::filesystem::path top_;
};

// The bytes of a record as it is stored.
std::string bytes_of(const BattStat& stat);

}  // namespace cellwarden::test

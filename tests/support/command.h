// Running a program of this machine beside the tests.
#pragma once

#include <string>

namespace cellwarden::test {

struct CommandResult {
    int exit_code;       // -1 where it did not end by itself
    std::string output;  // both streams
};
CommandResult run_command(const std::string& shell_command);

}  // namespace cellwarden::test

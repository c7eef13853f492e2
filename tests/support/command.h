// Runs a program of this machine.
#pragma once

#include <string>

namespace cellwarden::test {

struct CommandResult {
    int exit_code;       // -1 if a signal ended the program
    std::string output;  // standard output and standard error
};
CommandResult run_command(const std::string& shell_command);

}  // namespace cellwarden::test

#include "support/command.h"

#include <sys/wait.h>

#include <cstdio>

namespace cellwarden::test {

CommandResult run_command(const std::string& shell_command) {
    CommandResult result{.exit_code = -1, .output = {}};
    FILE* pipe = popen(("exec 2>&1; " + shell_command).c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    char piece[4096];
    for (size_t count = 0; (count = fread(piece, 1, sizeof piece, pipe)) > 0;) {
        result.output.append(piece, count);
    }
    const int status = pclose(pipe);
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace cellwarden::test

#include "telemetry/decoded.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/command.h"
#include "support/sysfs.h"

namespace cellwarden::test {

Fields decoded(const std::string& event_name, const std::string& data) {
    const std::string message =
        "code=charging." + event_name + " --proto_path=" PROTO_FOLDER " " PROTO_FOLDER "/charging.proto";
    write_attribute("/sys/event", data);
    const CommandResult result =
        run_command("cd /sys && " PROTOC " --de" + message + " < event > text && " PROTOC " --en" + message +
                    " < text > again && cmp event again");
    EXPECT_EQ(result.exit_code, 0) << result.output;

    Fields fields;
    std::istringstream text(read_attribute("/sys/text"));
    for (std::string line; std::getline(text, line);) {
        const size_t colon = line.find(": ");
        fields[line.substr(0, colon)].push_back(line.substr(colon + 2));
    }
    return fields;
}

}  // namespace cellwarden::test

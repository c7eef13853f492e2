// Fuzzes uevent datagrams: the daemon must find the same supply as a simple parser, and only a
// datagram with a known supply may end the wait.
#include <sys/socket.h>

#include <cstring>

#include "daemon/uevent.h"
#include "fuzz/fuzzing.h"
#include "phone/stand_in.h"

namespace cellwarden::fuzz {
namespace {

using namespace std::string_literals;

constexpr char KEY[] = "POWER_SUPPLY_NAME=";
const std::string WIRELESS_EVENT = "change@/w\0POWER_SUPPLY_NAME=wireless\0"s;

// Returns the known supply of the first text with the key; each text after the header ends at its
// NUL.
std::string supply_by_definition(const std::string& message) {
    size_t start = message.find('\0');
    while (start != std::string::npos && start + 1 < message.size()) {
        const size_t end = message.find('\0', ++start);
        const std::string text = message.substr(start, end - start);
        if (text.starts_with(KEY)) {
            const std::string name = text.substr(strlen(KEY));
            return name == "battery" || name == "usb" || name == "wireless" ? name : "";
        }
        start = end;
    }
    return "";
}

std::string supply_of_wait(const std::string& message) {
    static int ends[2] = {-1, -1};
    if (ends[0] < 0) {
        promise(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0, "socketpair");
    }
    for (const std::string& one : {message, WIRELESS_EVENT}) {
        promise(send(ends[1], one.data(), one.size(), 0) == static_cast<ssize_t>(one.size()),
                "send");
    }
    char name[EVENT_NAME_SIZE] = {};
    static StandIn phone{.records_effects = false};
    promise(wait_for_uevent(device_of(phone), ends[0], 0, name) == 0, "waiting does not fail");
    char rest[EVENT_NAME_SIZE * 4];
    (void)recv(ends[0], rest, sizeof rest, MSG_DONTWAIT);
    return name;
}

}  // namespace

std::vector<std::string> seeds() {
    return {
        "change@/devices/x\0ACTION=change\0POWER_SUPPLY_NAME=battery\0POWER_SUPPLY_CAPACITY=50\0"s,
        "add@/devices/y\0ACTION=add\0SUBSYSTEM=block\0"s,
        "h\0POWER_SUPPLY_NAME=usb"s,
        "\0\0POWER_SUPPLY_NAME=usb_pd\0POWER_SUPPLY_NAME=usb\0"s,
    };
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    const std::string message = fuzz::Input(data, size).text(size);
    // With a block of exactly this size, the address sanitizer detects a read beyond it.
    const std::vector<char> exact(message.c_str(), message.c_str() + size + 1);
    const char* supply = power_supply_of_uevent(exact.data(), size);
    const std::string expected = fuzz::supply_by_definition(message);
    fuzz::promise((supply != nullptr ? supply : "") == expected,
                  "the daemon finds the supply that the message names");
    fuzz::promise(fuzz::supply_of_wait(message) == (expected.empty() ? "wireless" : expected),
                  "only a known supply ends the wait");
    return 0;
}

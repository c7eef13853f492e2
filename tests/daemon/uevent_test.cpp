#include "daemon/uevent.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "support/kernel_uevents.h"
#include "support/namespaces.h"
#include "support/phone.h"
#include "support/process.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

const std::string FOREIGN = "add@/devices/y\0ACTION=add\0SUBSYSTEM=block\0"s;

// --- A select() that plays a script instead of waiting.

enum Outcome { READABLE, TIMEOUT, INTERRUPTED, NOT_IN_SET, FAILED };

struct Step {
    Outcome outcome;
    timeval left{};                         // the remaining time that select stores in its timeout
    std::optional<std::string> datagram{};  // READABLE: the datagram that has arrived, if any
};

std::deque<Step> steps;
int sender = -1;    // the socket that sends datagrams
std::string trace;  // the timeouts passed to select, in us, and the results of the waits

int select_by_script(int /*count*/, fd_set* readable, timeval* timeout) {
    trace += (timeout == nullptr ? "no limit" : std::to_string(timeout->tv_sec * 1'000'000 + timeout->tv_usec)) + " ";
    const Step step = steps.empty() ? Step{FAILED} : steps.front();
    if (!steps.empty()) {
        steps.pop_front();
    }
    if (timeout != nullptr) {
        *timeout = step.left;
    }
    if (step.datagram) {
        EXPECT_EQ(send(sender, step.datagram->data(), step.datagram->size(), 0), ssize(*step.datagram));
    }
    if (step.outcome != READABLE) {
        FD_ZERO(readable);
    }
    errno = step.outcome == INTERRUPTED ? EINTR : ENOMEM;
    return step.outcome == READABLE || step.outcome == NOT_IN_SET ? 1 : step.outcome == TIMEOUT ? 0 : -1;
}

// Plays the steps in as many waits as they need, and traces the result of each wait.
void wait_through(const std::deque<Step>& played, int32_t timeout_s) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends), 0);
    sender = ends[1];
    steps = played;
    phone.select = select_by_script;
    while (!steps.empty()) {
        char name[EVENT_NAME_SIZE] = "not written";
        const bool done = wait_for_uevent(device, ends[0], timeout_s, name) == 0;
        trace += !done ? "failed " : name[0] == '\0' ? "period " : std::string(name) + " ";
    }
}

TEST(WaitForUevent, CarriesOverTheRemainingPeriod) {
    const std::string battery = uevent_of("battery");
    const std::string longest = uevent_of(std::string(65'535 - uevent_of("").size(), 'x'));
    const struct {
        const char* name;
        std::deque<Step> steps;
        const char* trace;
        const char* log = "";
        int32_t timeout_s = 10;
    } rows[] = {
        {"an event shortens the period; an event at its very end starts the next one",
         {{READABLE, {7, 0}, battery}, {READABLE, {0, 0}, battery}, {TIMEOUT}, {TIMEOUT}},
         "10000000 battery 7000000 battery 10000000 period 10000000 period "},
        {"other messages do not end the wait",
         {{READABLE, {9, 500'000}, FOREIGN}, {READABLE, {8, 1}, longest}, {READABLE, {0, 1}, ""}, {TIMEOUT}},
         "10000000 9500000 8000001 1 period "},
        {"an earlier message leaves no trace",
         {{READABLE, {9, 0}, "hd\0................E=usb\0"s}, {READABLE, {8, 0}, "hd\0POWER_SUPPLY_NAM"s}, {TIMEOUT}},
         "10000000 9000000 8000000 period "},
        {"an interrupted or empty select continues with the remaining time",
         {{INTERRUPTED, {6, 0}}, {NOT_IN_SET, {5, 0}}, {READABLE, {4, 0}, battery}},
         "10000000 6000000 5000000 battery "},
        {"the shortest period", {{TIMEOUT}}, "1000000 period ", "", 1},
        {"no period", {{READABLE, {}, battery}}, "no limit battery ", "", 0},
        {"a negative period means no limit", {{READABLE, {}, battery}}, "no limit battery ", "", -5},
        {"select fails", {{FAILED}}, "10000000 failed ", "<3>cellwarden: select error: 'Cannot allocate memory'\n"},
        {"nothing to receive",
         {{READABLE, {9, 0}}, {TIMEOUT}},
         "10000000 9000000 period ",
         "<3>cellwarden: recv error: 'Resource temporarily unavailable'\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        in_own_process([&row] {
            wait_through(row.steps, row.timeout_s);
            EXPECT_EQ(trace, row.trace);
            EXPECT_EQ(logs().empty() ? "" : logs()[0], row.log);
        });
    }
    char name[EVENT_NAME_SIZE] = "as before";
    EXPECT_EQ(wait_for_uevent(device, -1, 10, name), -1);
    EXPECT_STREQ(name, "as before");
}

TEST(Uevent, SupplyOfAMessage) {
    const struct {
        const char* name;
        std::string message;
        const char* expected;  // null: the message is ignored
    } rows[] = {
        {"a longer name", uevent_of("usb_pd"), nullptr},
        {"only the first name counts", uevent_of("usb_pd") + uevent_of("usb"), nullptr},
        {"an empty header, no NUL after the name", "\0POWER_SUPPLY_NAME=usb"s, "usb"},
        {"the header is not an entry", "POWER_SUPPLY_NAME=usb\0A=b\0"s, nullptr},
        {"the key within another key", "h\0XPOWER_SUPPLY_NAME=usb\0"s, nullptr},
        {"the message ends within the key", "h\0POWER_SUPPLY_NAM"s, nullptr},
        {"an empty message", "", nullptr},
        {"NULs and a name at the end", std::string(60'000, '\0') + "POWER_SUPPLY_NAME=wireless", "wireless"},
    };
    for (const auto& row : rows) {
        // With a block of exactly this size, the address sanitizer detects a read beyond it.
        const std::vector<char> exact(row.message.c_str(), row.message.c_str() + row.message.size() + 1);
        EXPECT_STREQ(power_supply_of_uevent(exact.data(), row.message.size()), row.expected) << row.name;
    }
}

// --- The real socket

TEST(UeventSocket, ReceivesKernelUeventsAndReportsErrors) {
    in_own_process([] {
        enter_network_namespace();
        int32_t fd = -1;
        ASSERT_EQ(create_uevent_socket(device, &fd), 0);
        broadcast_through_kernel(FOREIGN);
        broadcast_through_kernel(uevent_of("wireless"));
        char name[EVENT_NAME_SIZE];
        EXPECT_EQ(wait_for_uevent(device, fd, 10, name), 0);
        EXPECT_STREQ(name, "wireless");

        int32_t second = -1;
        EXPECT_EQ(create_uevent_socket(device, &second), -5);  // the process already uses its port
        EXPECT_GT(second, fd);
        EXPECT_EQ(fcntl(second, F_GETFD), -1) << "the socket is closed";
        const rlimit none{.rlim_cur = 0, .rlim_max = 0};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_EQ(create_uevent_socket(device, &second), -5);
        EXPECT_EQ(second, -1);
        EXPECT_EQ(logs(), (Calls{"<3>cellwarden: Unable to bind uevent socket\n",
                                 "<3>cellwarden: Unable to create uevent socket\n"}));
    });
}

}  // namespace
}  // namespace cellwarden

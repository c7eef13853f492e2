#include "core/uevent.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "support/namespaces.h"
#include "support/phone.h"
#include "support/process.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

std::string uevent_of(const std::string& supply) {
    return "change@/devices/x\0ACTION=change\0SUBSYSTEM=power_supply\0POWER_SUPPLY_NAME="s + supply + "\0SEQNUM=7\0"s;
}

const std::string FOREIGN = "add@/devices/y\0ACTION=add\0SUBSYSTEM=block\0"s;

// --- select(), which plays a script in place of waiting while there is one.

enum Outcome { READABLE, TIMEOUT, INTERRUPTED, NOT_IN_SET, FAILED };

struct Step {
    Outcome outcome;
    timeval left{};                         // what select leaves in its timeout
    std::optional<std::string> datagram{};  // READABLE: what has arrived, if anything has
};

constexpr int64_t NO_LIMIT = -1;

struct Script {
    std::deque<Step> steps{};
    int sender = -1;                     // where datagrams come from
    std::vector<int64_t> timeouts_us{};  // as handed to select
};
Script* script;

int play(Script& played, fd_set* readable, timeval* timeout) {
    played.timeouts_us.push_back(timeout == nullptr ? NO_LIMIT : timeout->tv_sec * 1'000'000 + timeout->tv_usec);
    if (played.steps.empty()) {
        ADD_FAILURE() << "one select too many";
        errno = EBADF;
        return -1;
    }
    const Step step = played.steps.front();
    played.steps.pop_front();
    if (timeout != nullptr) {
        *timeout = step.left;
    }
    switch (step.outcome) {
        case READABLE:
            if (step.datagram) {
                EXPECT_EQ(send(played.sender, step.datagram->data(), step.datagram->size(), 0),
                          static_cast<ssize_t>(step.datagram->size()));
            }
            return 1;
        case TIMEOUT:
        case NOT_IN_SET:
            FD_ZERO(readable);
            return step.outcome == TIMEOUT ? 0 : 1;
        default:
            errno = step.outcome == INTERRUPTED ? EINTR : ENOMEM;
            return -1;
    }
}

extern "C" {
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    return script != nullptr ? play(*script, readable, timeout)
                             : __real_select(count, readable, writable, failed, timeout);
}
}

// Plays the steps through as many waits as they fill. Returns what each wait gave: the supply's
// name, "(period)" at its end, "(failed)".
std::vector<std::string> wait_through(Script& played, int32_t timeout_s) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends), 0);
    played.sender = ends[1];
    script = &played;
    std::vector<std::string> results;
    while (!played.steps.empty()) {
        char name[EVENT_NAME_SIZE] = "not written";
        const bool done = wait_for_uevent(ends[0], timeout_s, name) == 0;
        results.emplace_back(!done ? "(failed)" : name[0] == '\0' ? "(period)" : name);
    }
    script = nullptr;
    close(ends[0]);
    close(ends[1]);
    return results;
}

TEST(WaitForUevent, CarriesTheRestOfThePeriodOver) {
    const std::string battery = uevent_of("battery");
    const std::string other = uevent_of("usb_pd");
    const struct {
        const char* name;
        int32_t timeout_s;
        std::deque<Step> steps;
        std::vector<int64_t> timeouts_us;
        std::vector<std::string> results;
    } rows[] = {
        {"an event takes its time from the period",
         10,
         {{READABLE, {7, 0}, battery}, {TIMEOUT}, {TIMEOUT}},
         {10'000'000, 7'000'000, 10'000'000},
         {"battery", "(period)", "(period)"}},
        {"foreign and unknown supplies' events are no end",
         10,
         {{READABLE, {9, 500'000}, FOREIGN}, {READABLE, {0, 1}, other}, {TIMEOUT}},
         {10'000'000, 9'500'000, 1},
         {"(period)"}},
        {"an interrupted or empty select goes on with the rest",
         10,
         {{INTERRUPTED, {6, 0}}, {NOT_IN_SET, {5, 0}}, {READABLE, {4, 0}, battery}},
         {10'000'000, 6'000'000, 5'000'000},
         {"battery"}},
        {"an event at the very end of the period starts the next",
         10,
         {{READABLE, {0, 0}, battery}, {READABLE, {3, 0}, battery}},
         {10'000'000, 10'000'000},
         {"battery", "battery"}},
        {"no period", 0, {{READABLE, {}, battery}}, {NO_LIMIT}, {"battery"}},
        {"a negative period is none", -5, {{INTERRUPTED}, {READABLE, {}, battery}}, {NO_LIMIT, NO_LIMIT}, {"battery"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        in_own_process([&row] {
            Script played{.steps = row.steps};
            EXPECT_EQ(wait_through(played, row.timeout_s), row.results);
            EXPECT_EQ(played.timeouts_us, row.timeouts_us);
            EXPECT_TRUE(phone.log.empty());
        });
    }
}

TEST(WaitForUevent, Failures) {
    in_own_process([] {
        char name[EVENT_NAME_SIZE] = "as before";
        Script untouched;
        script = &untouched;
        EXPECT_EQ(wait_for_uevent(-1, 10, name), -1);
        EXPECT_STREQ(name, "as before");
        EXPECT_TRUE(untouched.timeouts_us.empty() && phone.log.empty());

        Script failing{.steps = {{FAILED}}};
        EXPECT_EQ(wait_through(failing, 10), std::vector<std::string>{"(failed)"});
        Script nothing_there{.steps = {{READABLE}, {READABLE, {}, uevent_of("usb")}}};
        EXPECT_EQ(wait_through(nothing_there, 10), std::vector<std::string>{"usb"});
        EXPECT_EQ(phone.log,
                  (std::vector<std::string>{"<3>cellwarden: select error: 'Cannot allocate memory'\n",
                                            "<3>cellwarden: recv error: 'Resource temporarily unavailable'\n"}));
    });
}

// Each message as the parser sees it and as it comes through the socket, before a good one.
TEST(Uevent, SupplyOfAMessage) {
    const std::string long_name(65'535 - 22, 'x');
    const struct {
        const char* name;
        std::string message;
        const char* expected;  // null: the message is passed over
    } rows[] = {
        {"battery", uevent_of("battery"), "battery"},
        {"usb", uevent_of("usb"), "usb"},
        {"a longer name", uevent_of("usb_pd"), nullptr},
        {"only the first name counts", uevent_of("usb_pd") + uevent_of("usb"), nullptr},
        {"the first name wins", uevent_of("usb") + uevent_of("battery"), "usb"},
        {"an empty header", "\0POWER_SUPPLY_NAME=usb\0"s, "usb"},
        {"no NUL after the name", "h\0POWER_SUPPLY_NAME=usb"s, "usb"},
        {"the header is no entry", "POWER_SUPPLY_NAME=usb\0A=b\0"s, nullptr},
        {"the key inside another", "h\0XPOWER_SUPPLY_NAME=usb\0"s, nullptr},
        {"an end inside the key", "h\0POWER_SUPPLY_NAM"s, nullptr},
        {"an empty datagram", "", nullptr},
        {"65,535 bytes of NULs", std::string(65'535, '\0'), nullptr},
        {"65,535 bytes, name at the end", long_name + "\0POWER_SUPPLY_NAME=usb"s, "usb"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        // A block of exactly this size lets the address sanitizer see a look beyond it.
        const std::vector<char> exact(row.message.c_str(), row.message.c_str() + row.message.size() + 1);
        EXPECT_STREQ(power_supply_of_uevent(exact.data(), row.message.size()), row.expected);

        in_own_process([&row] {
            Script played{.steps = {{READABLE, {9, 0}, row.message}}};
            if (row.expected == nullptr) {
                played.steps.push_back({READABLE, {8, 0}, uevent_of("wireless")});
            }
            EXPECT_EQ(wait_through(played, 10),
                      std::vector<std::string>{row.expected != nullptr ? row.expected : "wireless"});
        });
    }
}

TEST(WaitForUevent, NothingOfAnEarlierMessageIsSeen) {
    in_own_process([] {
        Script played{.steps = {{READABLE, {9, 0}, "hd\0................E=usb\0"s},
                                {READABLE, {8, 0}, "hd\0POWER_SUPPLY_NAM"s},
                                {TIMEOUT}}};
        EXPECT_EQ(wait_through(played, 10), std::vector<std::string>{"(period)"});
    });
}

// --- The real socket

// Hands a message to the kernel, which broadcasts it in this network namespace with a sequence
// number of its own at the end.
void broadcast_through_kernel(const std::string& message) {
    const sockaddr_nl kernel{.nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = 0, .nl_groups = 0};
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(NLMSG_HDRLEN + message.size());
    header.nlmsg_type = NLMSG_MIN_TYPE;
    header.nlmsg_flags = NLM_F_REQUEST;
    const std::string request = bytes_of(header) + message;
    const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_KOBJECT_UEVENT);
    require(
        sendto(fd, request.data(), request.size(), 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) >= 0,
        "uevents of its own");
    close(fd);
}

TEST(UeventSocket, HearsWhatTheKernelBroadcasts) {
    in_own_process([] {
        enter_network_namespace();
        int32_t fd = -1;
        ASSERT_EQ(create_uevent_socket(&fd), 0);
        broadcast_through_kernel(FOREIGN);
        broadcast_through_kernel(uevent_of("usb_pd"));
        broadcast_through_kernel(uevent_of("wireless"));
        char name[EVENT_NAME_SIZE];
        EXPECT_EQ(wait_for_uevent(fd, 10, name), 0);
        EXPECT_STREQ(name, "wireless");
    });
}

TEST(UeventSocket, ReportsWhatItCannotHave) {
    in_own_process([] {
        int32_t first = -1;
        int32_t second = -1;
        enter_network_namespace();
        EXPECT_EQ(create_uevent_socket(&first), 0);
        EXPECT_EQ(create_uevent_socket(&second), -5);  // the port is the process's, and taken
        EXPECT_GT(second, first);
        EXPECT_EQ(fcntl(second, F_GETFD), -1) << "closed again";

        const rlimit none{.rlim_cur = 0, .rlim_max = 0};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_EQ(create_uevent_socket(&second), -5);
        EXPECT_EQ(second, -1);
        EXPECT_EQ(phone.log, (std::vector<std::string>{"<3>cellwarden: Unable to bind uevent socket\n",
                                                       "<3>cellwarden: Unable to create uevent socket\n"}));
    });
}

}  // namespace
}  // namespace cellwarden

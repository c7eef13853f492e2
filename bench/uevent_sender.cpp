#include "bench/uevent_sender.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "bench/system_error.h"

namespace cellwarden::bench {
namespace {

// Waits for the kernel's answer to the message just sent.
void take_acknowledgement(int socket_fd) {
    alignas(nlmsghdr) char buffer[4096];
    const ssize_t length = recv(socket_fd, buffer, sizeof buffer, 0);
    if (length < 0) {
        throw_system_error("uevent: no answer from the kernel", errno);
    }
    nlmsghdr header = {};
    nlmsgerr answer = {};
    if (static_cast<size_t>(length) < NLMSG_HDRLEN + sizeof answer.error) {
        throw_system_error("uevent: answer from the kernel", EPROTO);
    }
    memcpy(&header, buffer, sizeof header);
    memcpy(&answer.error, buffer + NLMSG_HDRLEN, sizeof answer.error);
    if (header.nlmsg_type == NLMSG_ERROR && answer.error != 0) {
        throw_system_error("uevent: rejected by the kernel", -answer.error);
    }
}

}  // namespace

std::string uevent_text(const std::string& subsystem, const std::string& name) {
    const std::string device = "/devices/platform/soc/" + subsystem + "/" + name;
    std::string text;
    const auto add = [&text](const std::string& entry) { text.append(entry).push_back('\0'); };
    add("change@" + device);
    add("ACTION=change");
    add("DEVPATH=" + device);
    add("SUBSYSTEM=" + subsystem);
    if (subsystem == "power_supply") {
        add("POWER_SUPPLY_NAME=" + name);
    }
    return text;
}

int open_uevent_sender() {
    const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    if (fd < 0) {
        throw_system_error("uevent socket", errno);
    }
    return fd;
}

void send_uevent(int socket_fd, const std::string& text) {
    nlmsghdr header = {};
    header.nlmsg_len = static_cast<uint32_t>(NLMSG_LENGTH(text.size()));
    header.nlmsg_type = NLMSG_MIN_TYPE;
    header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    std::string message(NLMSG_HDRLEN, '\0');
    memcpy(message.data(), &header, sizeof header);
    message += text;

    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    if (sendto(socket_fd, message.data(), message.size(), 0,
               reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) < 0) {
        throw_system_error("uevent", errno);
    }
    take_acknowledgement(socket_fd);
}

bool someone_listens_for_uevents() {
    // Columns: address, protocol, port, groups. The kernel's own socket has the port 0.
    std::ifstream sockets("/proc/self/net/netlink");
    std::string line;
    while (std::getline(sockets, line)) {
        std::istringstream columns(line);
        std::string address;
        std::string groups;
        int protocol = -1;
        long port = 0;
        if (columns >> address >> protocol >> port >> groups &&
            protocol == NETLINK_KOBJECT_UEVENT && port != 0 &&
            groups.find_first_not_of('0') != groups.npos) {
            return true;
        }
    }
    return false;
}

}  // namespace cellwarden::bench

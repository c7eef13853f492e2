#include "support/kernel_uevents.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include "phone/stand_in.h"
#include "support/namespaces.h"

namespace cellwarden::test {

using namespace std::string_literals;

void broadcast_through_kernel(const std::string& message) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>(NLMSG_HDRLEN + message.size());
    header.nlmsg_type = NLMSG_MIN_TYPE;
    header.nlmsg_flags = NLM_F_REQUEST;
    const std::string request = bytes_of(header) + message;
    const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_KOBJECT_UEVENT);
    require(send(fd, request.data(), request.size(), 0) >= 0, "uevents of its own");
    close(fd);
}

std::string uevent_of(const std::string& supply) {
    return "change@/devices/x\0ACTION=change\0SUBSYSTEM=power_supply\0POWER_SUPPLY_NAME="s + supply + "\0SEQNUM=7\0"s;
}

}  // namespace cellwarden::test

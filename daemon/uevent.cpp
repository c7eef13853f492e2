#include "daemon/uevent.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/log.h"
#include "product/phone.h"

namespace cellwarden {
namespace {

constexpr std::string_view NAME_KEY = "POWER_SUPPLY_NAME=";

char uevent_recv_buffer[65536];
timeval uevent_wait_left;  // select stores the remaining time of the period in it

const char* known_supply(const char* name) {
    for (const char* supply : SUPPLIES) {
        if (strcmp(name, supply) == 0) {
            return supply;
        }
    }
    return nullptr;
}

// Receives a message. Returns the supply that it names, or null.
const char* receive_power_supply(const Device& device, int32_t fd) {
    const ssize_t received =
        recvfrom(fd, uevent_recv_buffer, sizeof uevent_recv_buffer - 1, 0, nullptr, nullptr);
    if (received < 0) {
        log_line(device, "<3>cellwarden: recv error: '%s'\n", strerror(errno));
        return nullptr;
    }
    uevent_recv_buffer[received] = '\0';
    return power_supply_of_uevent(uevent_recv_buffer, static_cast<size_t>(received));
}

}  // namespace

int32_t create_uevent_socket(const Device& device, int32_t* fd_out) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = static_cast<uint32_t>(getpid());
    address.nl_groups = UINT32_MAX;

    const int fd = socket(AF_NETLINK, SOCK_DGRAM, NETLINK_KOBJECT_UEVENT);
    *fd_out = fd;
    if (fd < 0) {
        log_line(device, "<3>cellwarden: Unable to create uevent socket\n");
        return -5;
    }
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        log_line(device, "<3>cellwarden: Unable to bind uevent socket\n");
        close(fd);
        return -5;
    }
    return 0;
}

const char* power_supply_of_uevent(const char* message, size_t length) {
    const char* const end = message + length;
    for (const char* text = message + strlen(message) + 1; text < end; text += strlen(text) + 1) {
        if (strncmp(text, NAME_KEY.data(), NAME_KEY.size()) == 0) {
            return known_supply(text + NAME_KEY.size());
        }
    }
    return nullptr;
}

int32_t wait_for_uevent(const Device& device, int32_t fd, int32_t timeout_s,
                        char (&name_out)[EVENT_NAME_SIZE]) {
    if (fd < 0) {
        return -1;
    }
    timeval* const timeout = timeout_s > 0 ? &uevent_wait_left : nullptr;
    for (;;) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        if (timeout_s > 0 && uevent_wait_left.tv_sec == 0 && uevent_wait_left.tv_usec == 0) {
            uevent_wait_left.tv_sec = timeout_s;
        }
        const int ready = device.select(device.context, fd + 1, &readable, timeout);
        if (ready < 0 && errno != EINTR) {
            log_line(device, "<3>cellwarden: select error: '%s'\n", strerror(errno));
            return -1;
        }
        if (ready == 0) {
            name_out[0] = '\0';
            return 0;
        }
        const bool has_message = ready > 0 && FD_ISSET(fd, &readable);
        const char* supply = has_message ? receive_power_supply(device, fd) : nullptr;
        if (supply != nullptr) {
            (void)snprintf(name_out, sizeof name_out, "%s", supply);
            return 0;
        }
    }
}

}  // namespace cellwarden

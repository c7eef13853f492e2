// Uevents of the simulated phone. Each is handed to the kernel, which broadcasts it in the network
// namespace that the bench and the daemon share, as it does with its own.
#pragma once

#include <string>

namespace cellwarden::bench {

// The text of a "change" uevent without the sequence number, which the kernel adds: header and
// KEY=value texts, each ended by a NUL. Only a power supply names itself by POWER_SUPPLY_NAME.
std::string uevent_text(const std::string& subsystem, const std::string& name);

// Opens the socket that send_uevent uses. Throws std::system_error.
int open_uevent_sender();

// Throws std::system_error where the kernel does not take the uevent.
void send_uevent(int socket_fd, const std::string& text);

// Whether a process of this network namespace listens for uevents.
bool someone_listens_for_uevents();

}  // namespace cellwarden::bench

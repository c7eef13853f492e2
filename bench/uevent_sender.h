// Sends uevents of the simulated phone. The kernel broadcasts them like its own in the network
// namespace of the bench and the daemon.
#pragma once

#include <string>

namespace cellwarden::bench {

// Returns the text of a "change" uevent: the header and KEY=value texts, each terminated by a NUL.
// The kernel adds the sequence number. Only power supplies have a POWER_SUPPLY_NAME.
std::string uevent_text(const std::string& subsystem, const std::string& name);

// Opens the socket for send_uevent. Returns the descriptor. Throws std::system_error.
int open_uevent_sender();

// Sends a uevent. Throws std::system_error if the kernel rejects it.
void send_uevent(int socket_fd, const std::string& text);

// Returns whether a process in this network namespace listens for uevents.
bool someone_listens_for_uevents();

}  // namespace cellwarden::bench

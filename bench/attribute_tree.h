// Attribute files, as the kernel would show them.
#pragma once

#include <map>
#include <string>

namespace cellwarden::bench {

// What each attribute holds as far as the bench knows, by path, without the newline.
using AttributeTree = std::map<std::string, std::string>;

// Gives an attribute a text, by a rename: who reads finds the old text or the new one, whole, and
// nobody takes the change for a write of the daemon. Makes the file and its folder where there is
// none, that of a device (/sys/class/CLASS/DEVICE) as a link to one below /sys/devices; does
// nothing where the text is the same. Throws std::runtime_error.
void set_attribute(AttributeTree& tree, const std::string& path, const std::string& text);

// Takes in what someone else wrote to the attribute; returns the text that it held before.
std::string take_written_attribute(AttributeTree& tree, const std::string& path);

}  // namespace cellwarden::bench

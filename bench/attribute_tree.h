// Attribute files that look like those of the kernel.
#pragma once

#include <map>
#include <string>

namespace cellwarden::bench {

// The text of each attribute that the bench knows of, by path, without the newline.
using AttributeTree = std::map<std::string, std::string>;

// Sets the text of an attribute by renaming a new file: readers see either the old or the new text,
// and the change cannot be mistaken for a write of the daemon. Creates the file and its folder if
// needed, the folder of a device (/sys/class/CLASS/DEVICE) as a link to a folder below
// /sys/devices; does nothing if the text is the same. Throws std::runtime_error.
void set_attribute(AttributeTree& tree, const std::string& path, const std::string& text);

// Reads the text that the daemon wrote into the tree. Returns the text before the write.
std::string take_written_attribute(AttributeTree& tree, const std::string& path);

}  // namespace cellwarden::bench

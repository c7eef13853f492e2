// Watches what the daemon does to files, in order, with inotify.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace cellwarden::bench {

enum class FileAction {
    WRITTEN,   // opened for writing and closed
    REPLACED,  // a new file was renamed to this name
    OPENED,
};

struct FileEvent {
    FileAction action;
    std::string path;
};

struct FolderWatch {
    int fd = -1;
    std::map<int, std::string> folders;  // by watch descriptor
};

// Starts a watch without folders. All functions here throw std::system_error.
FolderWatch open_watch();

// Reports files of the folder that are written (`action` WRITTEN), written or opened (OPENED), or
// replaced (REPLACED). Hidden files, whose names begin with a dot, are not reported.
void watch_folder(FolderWatch& watch, const std::string& folder, FileAction action);

// Returns the events since the last call, without waiting.
std::vector<FileEvent> read_file_events(const FolderWatch& watch);

}  // namespace cellwarden::bench

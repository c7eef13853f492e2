// What the daemon does to files, as inotify tells it, in the order in which it happened.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace cellwarden::bench {

enum class FileAction {
    WRITTEN,   // opened for writing and closed
    REPLACED,  // a whole new file took the name
    OPENED,
};

struct FileEvent {
    FileAction action;
    std::string path;
};

struct FolderWatch {
    int fd = -1;
    std::map<int, std::string> folders;  // by inotify's number
};

// Throws std::system_error, as all here.
FolderWatch open_watch();

// Tells of files of the folder that are written (`action` WRITTEN), written or opened (OPENED), or
// replaced (REPLACED). Hidden files, those that begin with a dot, are not told of.
void watch_folder(FolderWatch& watch, const std::string& folder, FileAction action);

// What happened since the last call; does not wait.
std::vector<FileEvent> read_file_events(const FolderWatch& watch);

}  // namespace cellwarden::bench

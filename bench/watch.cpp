#include "bench/watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "bench/system_error.h"

namespace cellwarden::bench {
namespace {

uint32_t event_mask(FileAction action) {
    switch (action) {
        case FileAction::WRITTEN:
            return IN_CLOSE_WRITE;
        case FileAction::REPLACED:
            return IN_MOVED_TO;
        case FileAction::OPENED:
            return IN_CLOSE_WRITE | IN_OPEN;
    }
    return 0;
}

FileAction deed_of(uint32_t mask) {
    if ((mask & IN_CLOSE_WRITE) != 0) {
        return FileAction::WRITTEN;
    }
    return (mask & IN_MOVED_TO) != 0 ? FileAction::REPLACED : FileAction::OPENED;
}

void add_event(const FolderWatch& watch, const inotify_event& event, const char* name,
               std::vector<FileEvent>& events) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        throw_system_error("inotify lost events", EOVERFLOW);
    }
    const auto folder = watch.folders.find(event.wd);
    if (event.len > 0 && name[0] != '.' && folder != watch.folders.end()) {
        events.push_back({deed_of(event.mask), folder->second + "/" + name});
    }
}

}  // namespace

FolderWatch open_watch() {
    FolderWatch watch;
    watch.fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch.fd < 0) {
        throw_system_error("inotify", errno);
    }
    return watch;
}

void watch_folder(FolderWatch& watch, const std::string& folder, FileAction action) {
    const int number = inotify_add_watch(watch.fd, folder.c_str(), event_mask(action) | IN_ONLYDIR);
    if (number < 0) {
        throw_system_error(folder, errno);
    }
    watch.folders[number] = folder;
}

std::vector<FileEvent> read_file_events(const FolderWatch& watch) {
    std::vector<FileEvent> events;
    char buffer[64 * 1024];
    ssize_t length = 0;
    while ((length = read(watch.fd, buffer, sizeof buffer)) > 0) {
        for (size_t at = 0; at < static_cast<size_t>(length);) {
            inotify_event event = {};
            memcpy(&event, buffer + at, sizeof event);
            add_event(watch, event, buffer + at + sizeof event, events);
            at += sizeof event + event.len;
        }
    }
    return events;
}

}  // namespace cellwarden::bench

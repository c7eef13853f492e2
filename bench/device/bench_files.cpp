#include "bench/device/bench_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace cellwarden::bench {
namespace {

// Writes the whole content, with several writes if necessary. Returns 0, or -1 if a write fails or
// accepts nothing.
int write_all(int fd, const void* data, size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(fd, next, size);
        if (written <= 0) {
            return -1;
        }
        next += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

// Writes a new file and waits until it is on the disk. Returns 0 or -1.
int write_new_file(const char* path, const void* data, size_t size) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -1;
    }
    int result = write_all(fd, data, size);
    if (result == 0) {
        result = fsync(fd);
    }
    if (close(fd) != 0) {
        result = -1;
    }
    return result;
}

int sync_folder(const BenchPath& folder) {
    const int fd = open(folder.text, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    const int result = fsync(fd);
    close(fd);
    return result;
}

}  // namespace

int set_bench_path(BenchPath& path, const char* folder, const char* name) {
    const char* top = getenv("CELLWARDEN_BENCH_DIR");
    if (top == nullptr) {
        return -1;
    }
    const int length = snprintf(path.text, sizeof path.text, "%s/%s/%s", top, folder, name);
    return length >= 0 && static_cast<size_t>(length) < sizeof path.text ? 0 : -1;
}

bool fault_is_on(const char* name) {
    BenchPath path;
    char text[16] = {};
    size_t size = 0;
    if (set_bench_path(path, "faults", name) != 0 ||
        read_bench_file(path, text, sizeof text - 1, size) != 0) {
        return false;
    }
    const long calls = strtol(text, nullptr, 10);
    if (calls == 1) {
        (void)unlink(path.text);
    } else if (calls > 1) {
        const int length = snprintf(text, sizeof text, "%ld", calls - 1);
        (void)write_new_file(path.text, text, static_cast<size_t>(length));
    }
    return calls <= 1;
}

int read_bench_file(const BenchPath& path, void* buffer, size_t capacity, size_t& file_size) {
    const int fd = open(path.text, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    size_t length = 0;
    ssize_t count = 0;
    while ((count = read(fd, static_cast<char*>(buffer) + length, capacity - length)) > 0) {
        length += static_cast<size_t>(count);
    }
    struct stat status = {};
    const bool failed = count < 0 || fstat(fd, &status) != 0;
    close(fd);
    if (failed) {
        return -1;
    }
    file_size = static_cast<size_t>(status.st_size);
    return 0;
}

int replace_bench_file(const char* folder, const char* name, const void* data, size_t size) {
    BenchPath folder_path;
    BenchPath path;
    BenchPath new_path;
    char new_name[256];
    const int length = snprintf(new_name, sizeof new_name, ".%s.new", name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof new_name ||
        set_bench_path(folder_path, folder, "") != 0 || set_bench_path(path, folder, name) != 0 ||
        set_bench_path(new_path, folder, new_name) != 0) {
        return -1;
    }
    if (write_new_file(new_path.text, data, size) != 0 || rename(new_path.text, path.text) != 0) {
        (void)unlink(new_path.text);
        return -1;
    }
    return sync_folder(folder_path);
}

}  // namespace cellwarden::bench

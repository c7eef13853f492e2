#include "platform/sysfs_io.h"

#include <fcntl.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform/device.h"
#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr size_t TEXT_MAX = SYSFS_BUFFER_SIZE - 1;
constexpr int READINESS_LOOKS = 30;

const char* path_of(const Device& device, const SysfsParamDesc& desc) {
    switch (desc.path_is_generated) {
        case 0:
            return desc.path;
        case 1:
            return desc.path_generator(device);
        default:
            return nullptr;
    }
}

// Gathers a text line by line in a buffer of TEXT_MAX characters. A NUL drops the rest of its line,
// including the newline. A line is read in pieces of at most the remaining room, so a NUL drops at
// most the rest of its piece.
struct TextGatherer {
    char* text;
    size_t length = 0;
    size_t piece_room = TEXT_MAX;  // raw characters that still fit into the current piece
    bool cut = false;              // the current piece has had a NUL

    // Adds `count` raw characters, which are at text + length.
    void take(size_t count) {
        const char* raw = text + length;
        if (!cut && memchr(raw, '\0', count) == nullptr) {
            length += count;
            piece_room = TEXT_MAX - length;
            return;
        }
        for (size_t i = 0; i < count && length < TEXT_MAX; i++) {
            const char c = raw[i];
            cut = cut || c == '\0';
            if (!cut) {
                text[length++] = c;
            }
            piece_room--;
            if (c == '\n' || piece_room == 0) {
                cut = false;
                piece_room = TEXT_MAX - length;
            }
        }
    }
};

// The directory whose attributes are being read. It is opened once for all of them, so the kernel
// resolves its path once, and all belong to the same device even if the path changes meanwhile.
struct OpenDirectory {
    const SysfsParamDesc* shared_by = nullptr;  // one of its parameters; null: no directory is open
    int fd = -1;                                // -1: the directory cannot be opened
};

bool share_directory(const SysfsParamDesc& one, const SysfsParamDesc& other) {
    return one.name_at > 0 && one.name_at == other.name_at &&
           memcmp(one.path, other.path, one.name_at) == 0;
}

void leave_directory(const Device& device, OpenDirectory& directory) {
    if (directory.fd >= 0) {
        device.attributes.close(device.context, directory.fd, directory.fd);
    }
    directory = OpenDirectory{};
}

// Returns whether the mask selects further parameters of the directory after `id`. The parameters
// of a directory are consecutive in the table.
bool more_follow(const SysfsParamDescs& table, uint32_t id, const SysfsReadMask& mask) {
    const SysfsParamDesc& desc = table[id];
    for (id++; id < SYSFS_PARAM_COUNT && share_directory(desc, table[id]); id++) {
        if (mask[id] != 0) {
            return true;
        }
    }
    return false;
}

// Sets `directory` to that of the parameter. A parameter that is alone in its directory, or has a
// generated path, is opened by its path: AT_FDCWD.
void enter_directory(const Device& device, const SysfsParamDescs& table, uint32_t id,
                     const SysfsReadMask& mask, OpenDirectory& directory) {
    const SysfsParamDesc& desc = table[id];
    if (directory.shared_by != nullptr && share_directory(*directory.shared_by, desc)) {
        return;
    }
    leave_directory(device, directory);
    directory = {.shared_by = &desc, .fd = AT_FDCWD};
    if (more_follow(table, id, mask)) {
        char path[PATH_MAX];
        (void)snprintf(path, sizeof path, "%.*s", static_cast<int>(desc.name_at), desc.path);
        directory.fd = device.attributes.open_directory(device.context, path);
    }
}

// Attributes that have been read but not closed. Closing them together costs the kernel less; until
// then, each uses a page of kernel memory.
struct ReadAttributes {
    std::array<int, 16> fds;
    size_t count = 0;
};

// Closes consecutive descriptors with one call. Descriptors between them belong to other owners.
void close_attributes(const Device& device, ReadAttributes& read) {
    for (size_t begin = 0, end = 0; begin < read.count; begin = end) {
        for (end = begin + 1; end < read.count && read.fds[end] == read.fds[end - 1] + 1;) {
            end++;
        }
        device.attributes.close(device.context, read.fds[begin], read.fds[end - 1]);
    }
    read.count = 0;
}

void close_later(const Device& device, ReadAttributes& read, int fd) {
    if (read.count == read.fds.size()) {
        close_attributes(device, read);
    }
    read.fds[read.count++] = fd;
}

// Reads the attribute into `buffer`. Returns the length of its text, 0 if it cannot be opened.
size_t read_text(const Device& device, int directory, const char* path, size_t name_at,
                 ReadAttributes& read, char (&buffer)[SYSFS_BUFFER_SIZE]) {
    const AttributeAccess& attributes = device.attributes;
    const int fd = attributes.open(device.context, directory, path, name_at);
    if (fd < 0) {
        return 0;
    }
    TextGatherer gatherer{.text = buffer};
    // A read returns as much of an attribute as fits, so a read that leaves room has reached the
    // end.
    for (bool more = true; more && gatherer.length < TEXT_MAX;) {
        const size_t room = TEXT_MAX - gatherer.length;
        const ssize_t count = attributes.read(device.context, fd, buffer + gatherer.length, room);
        more = count == static_cast<ssize_t>(room);
        gatherer.take(count > 0 ? static_cast<size_t>(count) : 0);
    }
    close_later(device, read, fd);
    return gatherer.length;
}

void keep_text(const Device& device, SysfsParamValue& slot, const char* text, size_t length) {
    if (length > 0 && text[length - 1] == '\n') {
        length--;
    }
    if (length == 0) {
        return;
    }
    char* copy = static_cast<char*>(device.malloc(device.context, length + 1));
    if (copy == nullptr) {
        return;
    }
    memcpy(copy, text, length);
    copy[length] = '\0';
    slot.raw = copy;
    slot.text = copy;
}

// Returns the first row whose text equals `text`, otherwise the terminating row.
const SysfsEnumEntry& match_enum(const SysfsEnumEntry* row, const char* text) {
    while (row->text != nullptr && strcmp(row->text, text) != 0) {
        row++;
    }
    return *row;
}

// Returns the text of the row at `position`, or null if the table ends before it.
const char* enum_text_at(const SysfsEnumEntry* row, int32_t position) {
    if (position < 0) {
        return nullptr;
    }
    while (row->text != nullptr && position > 0) {
        row++;
        position--;
    }
    return row->text;
}

// Returns the kind of a format's value.
constexpr SysfsKind KIND_OF_FORMAT[] = {
    KIND_INTEGER, KIND_INTEGER, KIND_FLOAT,   KIND_TEXT,
    KIND_INTEGER, KIND_TEXT,    KIND_INTEGER, KIND_TEXT,
};

}  // namespace

void parse_sysfs_value(const SysfsParamDesc& desc, SysfsParamValue& slot) {
    if (desc.format >= std::size(KIND_OF_FORMAT)) {
        return;
    }
    slot.kind = KIND_OF_FORMAT[desc.format];
    SysfsValue& value = slot.value;
    switch (desc.format) {
        case FORMAT_DECIMAL:
            value.integer = static_cast<int32_t>(strtol(slot.text, nullptr, 10));
            break;
        case FORMAT_HEX:
            value.integer = static_cast<int32_t>(strtol(slot.text, nullptr, 16));
            break;
        case FORMAT_FLOAT:
            value.real = strtof(slot.text, nullptr);
            break;
        case FORMAT_TEXT:
            value.text = slot.text;
            break;
        case FORMAT_CONVERTED_INT:
            value.integer = desc.to_integer(slot.text);
            break;
        case FORMAT_CONVERTED_TEXT:
            value.text = desc.to_text(slot.text);
            break;
        default:  // both kinds of enum
            value = match_enum(desc.enum_table, slot.text).value;
    }
}

const char* format_sysfs_value(const SysfsParamDesc& desc, const SysfsParamValue& record,
                               char (&buffer)[SYSFS_BUFFER_SIZE]) {
    if (desc.format >= std::size(KIND_OF_FORMAT) || record.kind != KIND_OF_FORMAT[desc.format]) {
        return nullptr;
    }
    const SysfsValue& value = record.value;
    switch (desc.format) {
        case FORMAT_DECIMAL:
            (void)snprintf(buffer, sizeof buffer, "%d\n", value.integer);
            return buffer;
        case FORMAT_HEX:
            (void)snprintf(buffer, sizeof buffer, "0x%x\n", static_cast<uint32_t>(value.integer));
            return buffer;
        case FORMAT_FLOAT:
            (void)snprintf(buffer, sizeof buffer, "%f\n", static_cast<double>(value.real));
            return buffer;
        case FORMAT_TEXT:
            return value.text;
        case FORMAT_ENUM:
            return enum_text_at(desc.enum_table, value.integer);
        case FORMAT_ENUM_TEXT:
            return value.text != nullptr ? match_enum(desc.enum_table, value.text).text : nullptr;
        default:
            return nullptr;
    }
}

int32_t read_sysfs_params(const Device& device, SysfsParams& snapshot, const SysfsReadMask& mask,
                          const SysfsParamDescs& table) {
    char sysfs_read_buffer[SYSFS_BUFFER_SIZE];
    OpenDirectory directory;
    ReadAttributes read;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        SysfsParamValue& slot = snapshot[id];
        slot.raw = nullptr;
        slot.text = "";
        slot.kind = KIND_NOT_READ;
        if (mask[id] == 0) {
            continue;
        }
        const SysfsParamDesc& desc = table[id];
        const char* path = path_of(device, desc);
        if (path == nullptr) {
            continue;
        }
        enter_directory(device, table, id, mask, directory);
        const size_t name_at = directory.fd != AT_FDCWD ? desc.name_at : 0;
        const size_t length = directory.fd != -1 ? read_text(device, directory.fd, path, name_at,
                                                             read, sysfs_read_buffer)
                                                 : 0;
        keep_text(device, slot, sysfs_read_buffer, length);
        parse_sysfs_value(desc, slot);
    }
    close_attributes(device, read);
    leave_directory(device, directory);
    return static_cast<int32_t>(SYSFS_PARAM_COUNT);
}

void cleanup_sysfs_params(SysfsParams& snapshot) {
    for (SysfsParamValue& slot : snapshot) {
        free(slot.raw);
        slot.raw = nullptr;
        slot.text = "";
        slot.kind = KIND_NOT_READ;
    }
}

int32_t write_sysfs_param(const Device& device, uint32_t id, const SysfsParamValue& record) {
    if (id >= SYSFS_PARAM_COUNT) {
        return -1;
    }
    const SysfsParamDesc& desc = SysfsParamTable[id];
    const char* path = path_of(device, desc);
    if (path == nullptr) {
        return -1;
    }
    char sysfs_write_buffer[SYSFS_BUFFER_SIZE];
    const char* text = format_sysfs_value(desc, record, sysfs_write_buffer);
    return device.attributes.write(device.context, path, text);
}

int32_t write_sysfs_integer(const Device& device, SysfsParamId id, int32_t value) {
    SysfsParamValue record;
    record.kind = KIND_INTEGER;
    record.value.integer = value;
    return write_sysfs_param(device, id, record);
}

void wait_sysfs_ready(const Device& device) {
    for (int look = 0; look < READINESS_LOOKS; look++) {
        const bool writable = device.attributes.is_writable(
            device.context, SysfsParamTable[PARAM_USB_INPUT_SUSPEND].path);
        (void)device.sleep(device.context, 1);
        if (writable) {
            return;
        }
    }
    log_line(
        device,
        "<3>cellwarden: Reached retry max to wait for sysfs ready, so give up waiting. Probably, "
        "all "
        "writes to sysfs will fail.\n");
}

}  // namespace cellwarden

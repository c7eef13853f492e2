#include "platform/sysfs_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr size_t TEXT_MAX = SYSFS_BUFFER_SIZE - 1;
constexpr int READINESS_LOOKS = 30;

char sysfs_read_buffer[SYSFS_BUFFER_SIZE];
char sysfs_write_buffer[SYSFS_BUFFER_SIZE];

const char* path_of(const SysfsParamDesc& desc) {
    switch (desc.path_is_generated) {
        case 0:
            return desc.path;
        case 1:
            return desc.path_generator();
        default:
            return nullptr;
    }
}

// Gathers a text line by line into a buffer of TEXT_MAX characters. A line that holds a NUL counts
// up to the NUL only; what follows it in that line is dropped, newline included. A line is taken in
// pieces of at most the room that is left, so a NUL drops no more than its own piece.
struct TextGatherer {
    char* text;
    size_t length = 0;
    size_t piece_room = TEXT_MAX;  // raw characters that the current piece may still take
    bool cut = false;              // the current piece has met its NUL

    // Takes `count` raw characters that lie at text + length.
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

// Reads the file into `buffer` and returns the length of its text; 0 where it cannot be opened.
size_t read_text(const char* path, char (&buffer)[SYSFS_BUFFER_SIZE]) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    TextGatherer gatherer{.text = buffer};
    // An attribute gives what fits in one read: a read that leaves room has met its end.
    for (bool more = true; more && gatherer.length < TEXT_MAX;) {
        const size_t room = TEXT_MAX - gatherer.length;
        const ssize_t count = read(fd, buffer + gatherer.length, room);
        more = count == static_cast<ssize_t>(room);
        gatherer.take(count > 0 ? static_cast<size_t>(count) : 0);
    }
    close(fd);
    return gatherer.length;
}

void keep_text(SysfsParamValue& slot, const char* text, size_t length) {
    if (length > 0 && text[length - 1] == '\n') {
        length--;
    }
    if (length == 0) {
        return;
    }
    char* copy = static_cast<char*>(malloc(length + 1));
    if (copy == nullptr) {
        return;
    }
    memcpy(copy, text, length);
    copy[length] = '\0';
    slot.raw = copy;
    slot.text = copy;
}

// The first row whose text equals `text`, else the terminating row.
const SysfsEnumEntry& match_enum(const SysfsEnumEntry* row, const char* text) {
    while (row->text != nullptr && strcmp(row->text, text) != 0) {
        row++;
    }
    return *row;
}

// The text of the row at `position`, or null where the table ends before it.
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

int32_t write_text(int fd, const char* text) {
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t count = write(fd, text, left);
        if (count < 0) {
            return -1;
        }
        text += count;
        left -= static_cast<size_t>(count);
    }
    return 0;
}

}  // namespace

void parse_sysfs_value(const SysfsParamDesc& desc, SysfsParamValue& slot) {
    switch (desc.format) {
        case FORMAT_DECIMAL:
            slot.kind = KIND_INTEGER;
            slot.value.integer = static_cast<int32_t>(strtol(slot.text, nullptr, 10));
            break;
        case FORMAT_HEX:
            slot.kind = KIND_INTEGER;
            slot.value.integer = static_cast<int32_t>(strtol(slot.text, nullptr, 16));
            break;
        case FORMAT_FLOAT:
            slot.kind = KIND_FLOAT;
            slot.value.real = strtof(slot.text, nullptr);
            break;
        case FORMAT_TEXT:
            slot.kind = KIND_TEXT;
            slot.value.text = slot.text;
            break;
        case FORMAT_ENUM:
            slot.kind = KIND_INTEGER;
            slot.value.integer = match_enum(desc.enum_table, slot.text).value.integer;
            break;
        case FORMAT_ENUM_TEXT:
            slot.kind = KIND_TEXT;
            slot.value.text = match_enum(desc.enum_table, slot.text).value.text;
            break;
        case FORMAT_CONVERTED_INT:
            slot.kind = KIND_INTEGER;
            slot.value.integer = desc.to_integer(slot.text);
            break;
        case FORMAT_CONVERTED_TEXT:
            slot.kind = KIND_TEXT;
            slot.value.text = desc.to_text(slot.text);
            break;
        default:
            break;
    }
}

const char* format_sysfs_value(const SysfsParamDesc& desc, const SysfsParamValue& record,
                               char (&buffer)[SYSFS_BUFFER_SIZE]) {
    switch (desc.format) {
        case FORMAT_DECIMAL:
            if (record.kind != KIND_INTEGER) {
                return nullptr;
            }
            (void)snprintf(buffer, sizeof buffer, "%d\n", record.value.integer);
            return buffer;
        case FORMAT_HEX:
            if (record.kind != KIND_INTEGER) {
                return nullptr;
            }
            (void)snprintf(buffer, sizeof buffer, "0x%x\n",
                           static_cast<uint32_t>(record.value.integer));
            return buffer;
        case FORMAT_FLOAT:
            if (record.kind != KIND_FLOAT) {
                return nullptr;
            }
            (void)snprintf(buffer, sizeof buffer, "%f\n", static_cast<double>(record.value.real));
            return buffer;
        case FORMAT_TEXT:
            return record.kind == KIND_TEXT ? record.value.text : nullptr;
        case FORMAT_ENUM:
            return record.kind == KIND_INTEGER ? enum_text_at(desc.enum_table, record.value.integer)
                                               : nullptr;
        case FORMAT_ENUM_TEXT:
            return record.kind == KIND_TEXT && record.value.text != nullptr
                       ? match_enum(desc.enum_table, record.value.text).text
                       : nullptr;
        default:
            return nullptr;
    }
}

int32_t read_sysfs_params(SysfsParams& snapshot, const SysfsReadMask& mask) {
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        SysfsParamValue& slot = snapshot[id];
        slot.raw = nullptr;
        slot.text = "";
        slot.kind = KIND_NOT_READ;
        if (mask[id] == 0) {
            continue;
        }
        const SysfsParamDesc& desc = SysfsParamTable[id];
        const char* path = path_of(desc);
        if (path == nullptr) {
            continue;
        }
        keep_text(slot, sysfs_read_buffer, read_text(path, sysfs_read_buffer));
        parse_sysfs_value(desc, slot);
    }
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

int32_t write_sysfs_param(uint32_t id, const SysfsParamValue& record) {
    if (id >= SYSFS_PARAM_COUNT) {
        return -1;
    }
    const SysfsParamDesc& desc = SysfsParamTable[id];
    const char* path = path_of(desc);
    if (path == nullptr) {
        return -1;
    }
    const char* text = format_sysfs_value(desc, record, sysfs_write_buffer);
    // Attributes cannot be created, and one that gets nothing written keeps what it holds.
    const int fd = open(path, O_WRONLY | O_CLOEXEC | (text != nullptr ? O_TRUNC : 0));
    if (fd < 0) {
        return -1;
    }
    const int32_t result = text != nullptr ? write_text(fd, text) : -1;
    close(fd);
    return result;
}

int32_t write_sysfs_integer(SysfsParamId id, int32_t value) {
    SysfsParamValue record;
    record.kind = KIND_INTEGER;
    record.value.integer = value;
    return write_sysfs_param(id, record);
}

void wait_sysfs_ready() {
    for (int look = 0; look < READINESS_LOOKS; look++) {
        const bool writable = access(SysfsParamTable[PARAM_USB_INPUT_SUSPEND].path, W_OK) == 0;
        (void)sleep(1);
        if (writable) {
            return;
        }
    }
    LOG_LINE(
        "<3>cellwarden: Reached retry max to wait for sysfs ready, so give up waiting. Probably, "
        "all "
        "writes to sysfs will fail.\n");
}

}  // namespace cellwarden

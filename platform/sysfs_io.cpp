#include "platform/sysfs_io.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform/device.h"
#include "platform/log.h"

namespace cellwarden {
namespace {

constexpr size_t TEXT_MAX = SYSFS_BUFFER_SIZE - 1;
constexpr const char READINESS_PATH[] = "/sys/class/battchg_ext/usb_input_suspend";
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

// Drops what follows a NUL in its line, the newline included. Returns the length that is left.
size_t drop_after_nul(char* text, size_t length) {
    if (memchr(text, '\0', length) == nullptr) {
        return length;
    }
    size_t kept = 0;
    bool dropping = false;
    for (size_t i = 0; i < length; i++) {
        const char c = text[i];
        dropping = dropping || c == '\0';
        if (!dropping) {
            text[kept++] = c;
        }
        dropping = dropping && c != '\n';
    }
    return kept;
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

// The kind of a format's value.
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

int32_t read_sysfs_params(const Device& device, SysfsParams& snapshot, const SysfsReadMask& mask) {
    char sysfs_read_buffer[SYSFS_BUFFER_SIZE];
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        SysfsParamValue& slot = snapshot[id];
        slot.raw = nullptr;
        slot.text = "";
        slot.kind = KIND_NOT_READ;
        if (mask[id] == 0) {
            continue;
        }
        const SysfsParamDesc& desc = SysfsParamTable[id];
        const char* path = path_of(device, desc);
        if (path == nullptr) {
            continue;
        }
        const size_t length =
            device.read_attribute(device.context, path, sysfs_read_buffer, TEXT_MAX);
        keep_text(device, slot, sysfs_read_buffer, drop_after_nul(sysfs_read_buffer, length));
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
    return text != nullptr ? device.write_attribute(device.context, path, text) : -1;
}

int32_t write_sysfs_integer(const Device& device, SysfsParamId id, int32_t value) {
    SysfsParamValue record;
    record.kind = KIND_INTEGER;
    record.value.integer = value;
    return write_sysfs_param(device, id, record);
}

void wait_sysfs_ready(const Device& device) {
    for (int look = 0; look < READINESS_LOOKS; look++) {
        const bool writable = device.attribute_is_writable(device.context, READINESS_PATH);
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

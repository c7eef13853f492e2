#include "decode/wire_fault.h"

#include "decode/reading.h"
#include "state/wrapping.h"

namespace cellwarden::decode {
namespace {

constexpr uint64_t VARINT = 0;
constexpr uint64_t LENGTH_DELIMITED = 2;
constexpr unsigned WIRE_TYPE_BITS = 3;

struct Reader {
    std::span<const uint8_t> bytes;
    size_t at = 0;
};

// Returns the error in a message inside a message; the schema nests them only one level deep.
std::optional<WireFault> message_fault(const ProtobufCFieldDescriptor& field,
                                       std::span<const uint8_t> bytes, size_t start) {
    auto fault =
        wire_fault(*static_cast<const ProtobufCMessageDescriptor*>(field.descriptor), bytes);
    if (fault) {
        fault->offset += start;
    }
    return fault;
}

// Reads one field. Returns its error, if any.
std::optional<WireFault> field_fault(const ProtobufCMessageDescriptor& type, Reader& reader) {
    const size_t start = reader.at;
    const std::optional<uint64_t> key = read_varint(reader.bytes, reader.at);
    if (!key) {
        return WireFault{start, "the key of a field is truncated"};
    }
    const uint64_t number = *key >> WIRE_TYPE_BITS;
    const uint64_t encoding = *key & ((1U << WIRE_TYPE_BITS) - 1);
    const ProtobufCFieldDescriptor* const field =
        number > UINT32_MAX
            ? nullptr
            : protobuf_c_message_descriptor_get_field(&type, static_cast<unsigned>(number));
    if (field == nullptr) {
        return WireFault{start, "unknown field " + std::to_string(number)};
    }
    const auto named = [&] { return std::string("field ") + field->name; };
    const bool is_message = field->type == PROTOBUF_C_TYPE_MESSAGE;
    const uint64_t wanted =
        is_message || field->type == PROTOBUF_C_TYPE_STRING ? LENGTH_DELIMITED : VARINT;
    if (encoding != wanted) {
        return WireFault{start, named() + " has encoding " + std::to_string(encoding) +
                                    ", expected " + std::to_string(wanted)};
    }
    const size_t value_start = reader.at;
    const std::optional<uint64_t> value = read_varint(reader.bytes, reader.at);
    if (!value) {
        return WireFault{value_start, "the value of " + named() + " is truncated"};
    }
    if (wanted == LENGTH_DELIMITED) {
        const size_t left = reader.bytes.size() - reader.at;
        if (*value > left) {
            return WireFault{value_start, named() + " is " + std::to_string(*value) +
                                              " bytes long, but only " + std::to_string(left) +
                                              " remain"};
        }
        const size_t content = reader.at;
        reader.at += *value;
        if (is_message) {
            return message_fault(*field, reader.bytes.subspan(content, *value), content);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<uint64_t> read_varint(std::span<const uint8_t> bytes, size_t& at) {
    constexpr unsigned BITS = 7;
    constexpr unsigned MAX_SHIFT = 63;
    constexpr uint8_t MORE = 0x80;
    uint64_t number = 0;
    for (unsigned shift = 0; at < bytes.size() && shift <= MAX_SHIFT; shift += BITS) {
        const uint8_t byte = bytes[at++];
        number |= wrapping_mul(static_cast<uint64_t>(byte & (MORE - 1)), uint64_t{1} << shift);
        if ((byte & MORE) == 0) {
            return number;
        }
    }
    return std::nullopt;
}

std::optional<WireFault> wire_fault(const ProtobufCMessageDescriptor& type,
                                    std::span<const uint8_t> bytes) {
    Reader reader{.bytes = bytes};
    std::optional<WireFault> fault;
    while (!fault && reader.at < bytes.size()) {
        fault = field_fault(type, reader);
    }
    return fault;
}

}  // namespace cellwarden::decode

#include "tools/lifetime/event_stream.h"

namespace cellwarden::lifetime {
namespace {

enum Tag : char { TIME_S = 0x08, CATEGORY = 0x12, NAME = 0x1A, CONTENT = 0x22 };

void append_varint(std::string& bytes, uint64_t value) {
    for (; value > 0x7F; value >>= 7) {
        bytes += static_cast<char>((value & 0x7F) | 0x80);
    }
    bytes += static_cast<char>(value);
}

void append_text(std::string& bytes, Tag tag, const std::string& text) {
    bytes += tag;
    append_varint(bytes, text.size());
    bytes += text;
}

}  // namespace

void append_event(std::string& stream, int64_t wall_s, const Effect& event) {
    std::string message(1, TIME_S);
    append_varint(message, static_cast<uint64_t>(wall_s));
    append_text(message, CATEGORY, event.category);
    append_text(message, NAME, event.name);
    append_text(message, CONTENT, event.bytes);
    append_varint(stream, message.size());
    stream += message;
}

}  // namespace cellwarden::lifetime

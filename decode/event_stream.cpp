#include "decode/event_stream.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>

#include "common/input.h"
#include "decode/event_stream.pb-c.h"
#include "decode/free_message.h"
#include "decode/reading.h"
#include "decode/verdict.h"
#include "decode/wire_fault.h"

namespace cellwarden::decode {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr size_t LARGEST_MESSAGE = size_t{1} << 20;  // an ageing event has about 12 kB
constexpr size_t LARGEST_LENGTH = 10;                // bytes of a varint
constexpr size_t LONGEST_KEY = 255;                  // of a phone, in bytes
constexpr const char* RECORD = "a statistics record";

using StreamMessage = Charging__PhoneEvent;

struct FreeStreamMessage {
    void operator()(StreamMessage* message) const { FreeMessage()(&message->base); }
};

// Returns the time at the start of an outbox file name, "20260301T071245Z-"; nullopt if the name
// does not start with a time.
std::optional<int64_t> time_of_file(const std::string& name) {
    constexpr std::string_view PATTERN = "########T######Z-";
    const auto fits = [](char c, char pattern) {
        return pattern == '#' ? c >= '0' && c <= '9' : c == pattern;
    };
    if (name.size() < PATTERN.size() ||
        !std::equal(PATTERN.begin(), PATTERN.end(), name.begin(),
                    [&](char pattern, char c) { return fits(c, pattern); })) {
        return std::nullopt;
    }
    const auto part = [&](size_t at, size_t length) {
        return atoi(name.substr(at, length).c_str());
    };
    struct tm utc = {};
    utc.tm_year = part(0, 4) - 1900;
    utc.tm_mon = part(4, 2) - 1;
    utc.tm_mday = part(6, 2);
    utc.tm_hour = part(9, 2);
    utc.tm_min = part(11, 2);
    utc.tm_sec = part(13, 2);
    const struct tm written = utc;
    const int64_t time_s = timegm(&utc);  // brings the members into their ranges
    const bool is_date = utc.tm_mon == written.tm_mon && utc.tm_mday == written.tm_mday &&
                         utc.tm_hour == written.tm_hour && utc.tm_min == written.tm_min &&
                         utc.tm_sec == written.tm_sec && time_s >= 0;
    return is_date ? std::optional(time_s) : std::nullopt;
}

std::string phone_of_file(const fs::path& file) {
    const fs::path folder = fs::absolute(file).lexically_normal().parent_path();
    return folder.filename() == "outbox" ? folder.parent_path().filename() : folder.filename();
}

// --- Messages of a stream

// Returns the event of a message. Throws EventError.
PhoneEvent event_of_message(std::span<const uint8_t> bytes) {
    if (const auto fault = wire_fault(charging__phone_event__descriptor, bytes)) {
        throw EventError("byte " + std::to_string(fault->offset) +
                         " of the message: " + fault->what);
    }
    const std::unique_ptr<StreamMessage, FreeStreamMessage> message(
        charging__phone_event__unpack(nullptr, bytes.size(), bytes.data()));
    if (!message) {
        throw EventError("the message cannot be unpacked");
    }
    PhoneEvent found;
    const ProtobufCMessage* event = nullptr;
    switch (message->event_case) {
        case CHARGING__PHONE_EVENT__EVENT_AGEING:
            event = &message->ageing->base;
            break;
        case CHARGING__PHONE_EVENT__EVENT_CONNECTION:
            event = &message->connection->base;
            break;
        default:
            throw EventError("the message has no event");
    }
    if (message->has_time != 0) {
        if (message->time < 0 || message->time > LAST_SECOND) {
            throw EventError("time " + std::to_string(message->time) +
                             " is not between the years 1970 and 9999");
        }
        found.time_s = message->time;
    }
    if (message->phone != nullptr) {
        found.phone = message->phone;
    }
    if (found.phone.size() > LONGEST_KEY) {
        throw EventError("the key of the phone has " + std::to_string(found.phone.size()) +
                         " bytes, expected at most " + std::to_string(LONGEST_KEY));
    }
    found.packed.resize(protobuf_c_message_get_packed_size(event));
    (void)protobuf_c_message_pack(event, found.packed.data());
    found.event = decode_event(found.packed, event->descriptor->short_name);
    return found;
}

// Returns the size and the length in bytes of the first message of a stream; nullopt if no message
// of that size starts there.
struct Frame {
    size_t header;
    size_t length;
};
std::optional<Frame> first_frame(std::span<const uint8_t> bytes) {
    size_t at = 0;
    const auto length = read_varint(bytes.first(std::min(bytes.size(), LARGEST_LENGTH)), at);
    if (!length || *length > LARGEST_MESSAGE) {
        return std::nullopt;
    }
    return Frame{at, static_cast<size_t>(*length)};
}

// Returns whether the first message is complete and has an event.
bool has_first_event(std::span<const uint8_t> bytes) {
    const auto frame = first_frame(bytes);
    if (!frame || bytes.size() - frame->header < frame->length) {
        return false;
    }
    try {
        (void)event_of_message(bytes.subspan(frame->header, frame->length));
        return true;
    } catch (const EventError&) {
        return false;
    }
}

// Returns whether a message starts with one of the stream's own fields; the message may be faulty
// or cut.
bool seems_stream(std::span<const uint8_t> bytes) {
    constexpr uint8_t PHONE = 1 << 3 | 2, TIME = 2 << 3, AGEING = 3 << 3 | 2,
                      CONNECTION = 4 << 3 | 2;
    const auto frame = first_frame(bytes);
    if (!frame || frame->length == 0 || frame->header >= bytes.size()) {
        return false;
    }
    const uint8_t key = bytes[frame->header];
    return key == PHONE || key == TIME || key == AGEING || key == CONNECTION;
}

// Returns whether the bytes are a stream. Short bytes can be both a stream and an event: then they
// are a stream, because the events of the daemon begin with a field that no stream begins with.
bool is_stream(std::span<const uint8_t> bytes) {
    return has_first_event(bytes) || (event_name_of(bytes).empty() && seems_stream(bytes));
}

// The part of a file that is in memory: as much as the largest message needs.
class Window {
  public:
    explicit Window(const std::string& path) : file_(path) { fill(); }
    explicit Window(Bytes bytes) : buffer_(std::move(bytes)), ended_(true) {}

    std::span<const uint8_t> bytes() const { return std::span(buffer_).subspan(start_); }
    bool has_whole_file() const { return ended_ && offset_ == 0; }
    uint64_t offset() const { return offset_; }

    void skip(size_t length) {
        start_ += length;
        offset_ += length;
        if (!ended_ && bytes().size() < LARGEST_LENGTH + LARGEST_MESSAGE) {
            fill();
        }
    }

  private:
    void fill() {
        constexpr size_t SIZE = 2 * (LARGEST_LENGTH + LARGEST_MESSAGE);
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(start_));
        start_ = 0;
        const size_t kept = buffer_.size();
        buffer_.resize(SIZE);
        buffer_.resize(kept + file_->read(std::span(buffer_).subspan(kept)));
        ended_ = buffer_.size() < SIZE;
    }

    std::optional<InputFile> file_;
    Bytes buffer_;
    size_t start_ = 0;
    uint64_t offset_ = 0;  // of the window's first byte in the file
    bool ended_ = false;
};

void read_stream(Window& window, const std::string& path, const TakeEvent& take,
                 const RefuseEvent& refuse) {
    while (!window.bytes().empty()) {
        const std::string place = path + ", offset " + offset_text(window.offset());
        const auto frame = first_frame(window.bytes());
        if (!frame) {
            refuse(place + ": not the length of an event, expected a varint of at most " +
                   grouped(LARGEST_MESSAGE));
            return;
        }
        const auto rest = window.bytes().subspan(frame->header);
        if (rest.size() < frame->length) {
            refuse(place + ": the message has " + grouped(frame->length) + " bytes, but only " +
                   grouped(rest.size()) + " remain");
            return;
        }
        try {
            PhoneEvent found = event_of_message(rest.first(frame->length));
            found.place = place;
            take(std::move(found));
        } catch (const EventError& error) {
            refuse(place + ": " + error.what());
        }
        window.skip(frame->header + frame->length);
    }
}

// --- Files

void read_packed_event(std::span<const uint8_t> bytes, const std::string& path,
                       std::string_view type, const TakeEvent& take, const RefuseEvent& refuse) {
    const fs::path file(path);
    try {
        Event event = decode_event(bytes, type);
        const bool is_named = path != "-";
        take({.place = path,
              .phone = is_named ? phone_of_file(file) : "",
              .time_s = is_named ? time_of_file(file.filename()) : std::nullopt,
              .packed = {bytes.begin(), bytes.end()},
              .event = std::move(event)});
    } catch (const EventError& error) {
        const bool is_record = kind_of(bytes) == RECORD;
        refuse(path + ": " +
               (is_record ? std::string("is ") + RECORD + ", not an event" : error.what()));
    }
}

void read_window(Window& window, const std::string& path, std::string_view type,
                 const TakeEvent& take, const RefuseEvent& refuse) {
    const std::string_view named = event_name_of_file(fs::path(path).filename().string());
    const std::string_view name = type.empty() ? named : type;
    const bool is_small = window.has_whole_file() && window.bytes().size() <= LARGEST_MESSAGE;
    if (name.empty() && is_stream(window.bytes())) {
        read_stream(window, path, take, refuse);
    } else if (is_small) {
        read_packed_event(window.bytes(), path, name, take, refuse);
    } else {
        refuse(path + ": neither an event nor a stream of events");
    }
}

// Returns the files of a directory of events. Throws InputError, with a hint where events may be,
// if there are none.
std::vector<fs::path> event_files_of(const fs::path& directory) {
    const fs::path outbox = directory / "outbox";
    std::vector<fs::path> files = files_of(fs::is_directory(outbox) ? outbox : directory);
    if (!files.empty()) {
        return files;
    }
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        if (fs::is_directory(entry.path() / "outbox", error)) {
            throw InputError(directory.string() + ": contains no events; did you mean " +
                             (entry.path() / "outbox").string() + "?");
        }
    }
    throw InputError(
        directory.string() +
        ": contains no events; expected files named TIME-NUMBER-CATEGORY-NAME, streams, "
        "or a directory 'outbox'");
}

}  // namespace

void read_events(const std::string& path, std::string_view type, const TakeEvent& take,
                 const RefuseEvent& refuse) {
    if (!fs::is_directory(path)) {
        Window window(path);
        read_window(window, path, type, take, refuse);
        return;
    }
    for (const fs::path& file : event_files_of(path)) {
        Window window(file.string());
        read_window(window, file, type, take, refuse);
    }
}

void read_events_in(std::vector<uint8_t> bytes, const std::string& path, std::string_view type,
                    const TakeEvent& take, const RefuseEvent& refuse) {
    Window window(std::move(bytes));
    read_window(window, path, type, take, refuse);
}

void write_event(std::ostream& stream, const PhoneEvent& event) {
    const bool is_ageing =
        event.event.name == charging__battery_degradation2__descriptor.short_name;
    StreamMessage message = CHARGING__PHONE_EVENT__INIT;
    std::string phone = event.phone;
    message.phone = phone.empty() ? nullptr : phone.data();
    message.has_time = event.time_s ? 1 : 0;
    message.time = event.time_s.value_or(0);
    const std::unique_ptr<ProtobufCMessage, FreeMessage> unpacked(
        protobuf_c_message_unpack(is_ageing ? &charging__battery_degradation2__descriptor
                                            : &charging__charger_insertion_removal__descriptor,
                                  nullptr, event.packed.size(), event.packed.data()));
    if (is_ageing) {
        message.event_case = CHARGING__PHONE_EVENT__EVENT_AGEING;
        message.ageing = reinterpret_cast<Charging__BatteryDegradation2*>(unpacked.get());
    } else {
        message.event_case = CHARGING__PHONE_EVENT__EVENT_CONNECTION;
        message.connection = reinterpret_cast<Charging__ChargerInsertionRemoval*>(unpacked.get());
    }
    std::string packed(charging__phone_event__get_packed_size(&message), '\0');
    (void)charging__phone_event__pack(&message, reinterpret_cast<uint8_t*>(packed.data()));
    for (uint64_t rest = packed.size();; rest >>= 7) {
        const bool is_last = rest < 0x80;
        stream.put(static_cast<char>(is_last ? rest : rest % 0x80 + 0x80));
        if (is_last) {
            break;
        }
    }
    stream << packed;
}

std::string kind_of(std::span<const uint8_t> bytes) {
    if (is_kept(judge_record(bytes))) {
        return RECORD;
    }
    if (is_stream(bytes)) {
        return "a stream of events";
    }
    const std::string_view name = event_name_of(bytes);
    return name.empty() ? "" : "a " + std::string(name) + " event";
}

}  // namespace cellwarden::decode

// Fuzzes the commands of the inspector. The first byte of an input chooses the command, the rest is
// the file; `diff` compares it with a record.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "fuzz/field_files.h"
#include "fuzz/field_seeds.h"
#include "fuzz/fuzzing.h"
#include "tools/inspect/commands.h"

namespace cellwarden::fuzz {
namespace {

using namespace inspect;

void promise_json_lines(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        promise(nlohmann::json::accept(line), "each line is JSON");
    }
}

size_t count_lines(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// The event command in its three forms: as many lines of JSON as the stream has events.
void check_events(const std::string& path) {
    const auto show = [&](const std::string& file, EventFormat format) {
        return printed_by([&] { return show_events({file}, "", format); });
    };
    const Printed text = show(path, EventFormat::TEXT);
    promise_plain(text.out);
    const Printed lines = show(path, EventFormat::JSON_LINES);
    promise_plain(lines.out + lines.messages);
    promise_json_lines(lines.out);
    const Printed stream = show(path, EventFormat::STREAM);
    const Printed again = show(write_file("again", stream.out), EventFormat::JSON_LINES);
    promise(stream.out.empty() || count_lines(again.out) == count_lines(lines.out),
            "a stream has as many events as its source");
}

void check_difference(const std::string& path, bool as_json) {
    const std::string seed = write_file("record", seed_record());
    for (const std::string& other : {seed, path}) {
        const Printed found = printed_by([&] { return show_difference(path, other, {}, as_json); });
        promise_plain(found.out + found.messages);
        promise(!as_json || found.code < 0 || nlohmann::json::accept(found.out),
                "the differences are JSON");
        promise(other != path || found.code != NOT_SOUND, "a file does not differ from itself");
    }
}

void check_record(const std::string& path, bool as_json) {
    const Printed found = printed_by([&] { return show_record(path, as_json); });
    promise_plain(found.out + found.messages);
    promise(!as_json || found.out.empty() || nlohmann::json::accept(found.out),
            "the record is JSON");
}

void check_units(const std::string& bytes) {
    static const char* const UNITS[] = {"2310", "2319", "2491", "2802", "2803"};
    for (const char* const unit : UNITS) {
        (void)write_file(std::string("units/") + unit, bytes);
    }
    const Printed found = printed_by([] { return show_units((work_folder() / "units").string()); });
    promise_plain(found.out + found.messages);
}

}  // namespace

std::vector<std::string> seeds() {
    std::vector<std::string> inputs;
    for (char command = 0; command < 6; command++) {
        for (const std::string& file :
             {seed_record(), seed_ageing_event(), seed_connection(), seed_stream()}) {
            inputs.push_back(command + file);
        }
    }
    return inputs;
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    fuzz::Input input(data, size);
    const uint8_t command = input.byte();
    const std::string bytes = input.text(size);
    const std::string path = fuzz::write_file("file", bytes);
    switch (command % 6) {
        case 0:
        case 1:
            fuzz::check_record(path, command % 6 == 1);
            break;
        case 2:
        case 3:
            fuzz::check_difference(path, command % 6 == 3);
            break;
        case 4:
            fuzz::check_events(path);
            break;
        default:
            fuzz::check_units(bytes);
    }
    return 0;
}

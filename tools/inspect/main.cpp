// cellwarden-inspect: prints stored records, unit stores and telemetry events.

#include <exception>

#include "common/command_line.h"
#include "common/input.h"
#include "common/text.h"
#include "decode/event.h"
#include "tools/inspect/commands.h"

namespace cellwarden::inspect {
namespace {

constexpr const char* FOOTER =
    "The file name '-' means standard input.\n\n"
    "Exit codes:\n"
    "  0   every input is valid; diff: the records are equal\n"
    "  1   the daemon would reset a record, an input is not an event, or a unit has a wrong\n"
    "      size; diff: the records differ\n"
    "  2   wrong usage, or a file cannot be read";

struct Options {
    std::string record;
    bool as_json = false;
    std::vector<std::string> events;
    std::string event_name;
    bool as_lines = false;
    bool as_stream = false;
    std::vector<std::string> pair;
    std::vector<std::string> phones;
    std::string units;
};

std::vector<std::string> event_name_choices() {
    const auto names = decode::event_names();
    return {names.begin(), names.end()};
}

void add_commands(CommandLine& line, Options& options) {
    Command record = line.add_command("record", "Print a stored statistics record (unit 2491)");
    record.add("file", options.record, "File with the content of the unit").required();
    record.add_flag("--json", options.as_json,
                    "Print JSON: each field with its value, unit and stored number");

    Command event = line.add_command("event", "Print telemetry events");
    event
        .add("file", options.events,
             "Packed events, streams of events, or directories of them (an outbox)")
        .required();
    event.add_flag("--json-lines", options.as_lines,
                   "Print one JSON object per line: file, phone, time, event, and the fields as "
                   "sent");
    event.add_flag("--stream", options.as_stream,
                   "Write a stream for other programs: one message per event, with phone and time, "
                   "after its length (decode/event_stream.proto)");
    event
        .add("--type", options.event_name,
             "Name of the event; needed if neither file name nor content shows it")
        .one_of(event_name_choices());

    Command diff = line.add_command("diff", "Print the differences between two records");
    diff.add("file", options.pair,
             "The two records to compare: records, ageing events, or directories or streams of "
             "events, whose newest ageing event is compared")
        .required()
        .expect(2);
    diff.add("--phone", options.phones, "Key of the phone to compare if a stream has several");
    diff.add_flag("--json", options.as_json, "Print JSON: both sources and each difference");

    line.add_command("units", "Print a unit store")
        .add("directory", options.units,
             "Directory with one file per unit, named by the unit number")
        .required();
}

int run(const CommandLine& line, const Options& options) {
    if (line.has_command("record")) {
        return show_record(options.record, options.as_json);
    }
    if (options.as_lines && options.as_stream) {
        throw InputError("--json-lines and --stream exclude each other");
    }
    if (line.has_command("event")) {
        return show_events(options.events, options.event_name,
                           options.as_stream  ? EventFormat::STREAM
                           : options.as_lines ? EventFormat::JSON_LINES
                                              : EventFormat::TEXT);
    }
    return line.has_command("diff")
               ? show_difference(options.pair[0], options.pair[1], options.phones, options.as_json)
               : show_units(options.units);
}

}  // namespace
}  // namespace cellwarden::inspect

int main(int argc, char** argv) {
    using namespace cellwarden::inspect;
    constexpr int TROUBLE = 2;
    try {
        cellwarden::CommandLine line(
            {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
        Options options;
        add_commands(line, options);
        const int done = line.parse(argc, argv);
        if (done >= 0) {
            return done;
        }
        return cellwarden::finish(CELLWARDEN_TOOL_NAME, run(line, options));
    } catch (const std::exception& error) {
        cellwarden::complain(CELLWARDEN_TOOL_NAME, error.what());
        return TROUBLE;
    }
}

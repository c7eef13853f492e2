// cellwarden-inspect: prints stored records, unit stores and telemetry events.

#include <exception>
#include <iostream>

#include "common/command_line.h"
#include "common/input.h"
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
    std::vector<std::string> pair;
    std::string units;
};

std::vector<std::string> event_name_choices() {
    const auto names = decode::event_names();
    return {names.begin(), names.end()};
}

void add_commands(CLI::App& app, Options& options) {
    CLI::App* record = app.add_subcommand("record", "Print a stored statistics record (unit 2491)");
    record->add_option("file", options.record, "File with the content of the unit")->required();
    record->add_flag("--json", options.as_json,
                     "Print JSON: each field with its value, unit and stored number");

    CLI::App* event = app.add_subcommand("event", "Print telemetry events");
    event
        ->add_option("file", options.events,
                     "Packed events, or directories with events (an outbox)")
        ->required();
    event->add_flag("--json-lines", options.as_lines,
                    "Print one JSON object per line: file, time, event, and the fields as sent");
    event
        ->add_option("--type", options.event_name,
                     "Name of the event; needed if neither file name nor content shows it")
        ->check(CLI::IsMember(event_name_choices()));

    app.add_subcommand("diff", "Print the differences between two records")
        ->add_option("file", options.pair, "The two records to compare")
        ->required()
        ->expected(2);

    app.add_subcommand("units", "Print a unit store")
        ->add_option("directory", options.units,
                     "Directory with one file per unit, named by the unit number")
        ->required();
}

int run(const CLI::App& app, const Options& options) {
    if (app.got_subcommand("record")) {
        return show_record(options.record, options.as_json);
    }
    if (app.got_subcommand("event")) {
        return show_events(options.events, options.event_name,
                           options.as_lines ? EventFormat::JSON_LINES : EventFormat::TEXT);
    }
    return app.got_subcommand("diff") ? show_difference(options.pair[0], options.pair[1])
                                      : show_units(options.units);
}

}  // namespace
}  // namespace cellwarden::inspect

int main(int argc, char** argv) {
    using namespace cellwarden::inspect;
    constexpr int TROUBLE = 2;
    try {
        CLI::App app;
        cellwarden::set_up_command_line(app);
        app.require_subcommand(1);
        app.footer(FOOTER);
        Options options;
        add_commands(app, options);
        const int done = cellwarden::parse_command_line(app, argc, argv);
        if (done >= 0) {
            return done;
        }
        return cellwarden::finish(run(app, options));
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-inspect: " << error.what() << '\n';
        return TROUBLE;
    }
}

// cellwarden-inspect: reads what phones leave behind.

#include <exception>
#include <iostream>

#include "common/command_line.h"
#include "common/input.h"
#include "decode/event.h"
#include "tools/inspect/commands.h"

namespace cellwarden::inspect {
namespace {

constexpr const char* FOOTER =
    "A file named '-' is standard input.\n\n"
    "Exit codes:\n"
    "  0   all is sound; diff: nothing differs\n"
    "  1   the daemon would reset the record, an event is none, a unit is not as it should\n"
    "      be; diff: something differs\n"
    "  2   wrong usage, or a file that cannot be read";

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
    CLI::App* record = app.add_subcommand("record", "A stored statistics record (unit 2491)");
    record->add_option("file", options.record, "The bytes of the unit")->required();
    record->add_flag("--json", options.as_json, "Every field with its value, unit and stored form");

    CLI::App* event = app.add_subcommand("event", "Telemetry events");
    event->add_option("file", options.events, "Packed events, or directories of them (an outbox)")
        ->required();
    event->add_flag("--json-lines", options.as_lines,
                    "One JSON object per line: file, time, event and the fields as they were sent");
    event
        ->add_option("--type", options.event_name,
                     "The event's name, where neither the file's name nor its content tells")
        ->check(CLI::IsMember(event_name_choices()));

    app.add_subcommand("diff", "What differs between two records")
        ->add_option("file", options.pair, "The two records")
        ->required()
        ->expected(2);

    app.add_subcommand("units", "A whole unit store")
        ->add_option("directory", options.units, "Files named by their unit number")
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

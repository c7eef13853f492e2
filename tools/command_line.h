// What the command lines of all tools share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cellwarden {

// Help in a form that makes a man page as well: in the help of all commands each has a heading.
class ToolFormatter : public CLI::Formatter {
  public:
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
        if (mode != CLI::AppFormatMode::All) {
            return Formatter::make_subcommands(app, mode);
        }
        std::string text;
        for (const CLI::App* command : app->get_subcommands({})) {
            text += command_help(command);
        }
        return text;
    }

  private:
    std::string command_help(const CLI::App* command) const {
        std::string text =
            "\nCommand " + command->get_name() + ":\n  " + command->get_description() + "\n\n";
        for (const CLI::Option* option : command->get_options()) {
            if (option != command->get_help_ptr() && option != command->get_help_all_ptr()) {
                text += make_option(option, !option->nonpositional());
            }
        }
        return text;
    }
};

// Gives the command line of a tool its description, --version and --help-all.
inline void set_up_command_line(CLI::App& app) {
    app.description(CELLWARDEN_TOOL_ABOUT ".");
    app.formatter(std::make_shared<ToolFormatter>());
    app.get_formatter()->column_width(30);
    app.set_version_flag("--version", CELLWARDEN_TOOL_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
}

// Parses; returns -1 where the tool is to go on, else its exit code: 0 after help, 2 for wrong
// usage.
inline int parse_command_line(CLI::App& app, int argc, char** argv) {
    constexpr int WRONG_USAGE = 2;
    if (app.get_subcommands({}).empty()) {
        app.get_option("--help-all")->group("");  // the same as --help: not listed
    }
    try {
        app.parse(argc, argv);
        return -1;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : WRONG_USAGE;
    }
}

}  // namespace cellwarden

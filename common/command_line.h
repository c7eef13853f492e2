// The common part of all command lines: description, --version, --help-all, exit codes.
#pragma once

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

namespace cellwarden {

// Formats help so that a manual page can be made from it: --help-all prints a heading for each
// command.
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

  protected:
    // Breaks long descriptions: the library does not.
    std::string make_option_desc(const CLI::Option* option) const override {
        constexpr size_t LINE = 66;
        std::string text = option->get_description();
        for (size_t start = 0; text.size() - start > LINE;) {
            const size_t blank = text.rfind(' ', start + LINE);
            if (blank == std::string::npos || blank <= start) {
                break;
            }
            text[blank] = '\n';
            start = blank + 1;
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

// Sets the description of a program and adds --version and --help-all.
inline void set_up_command_line(CLI::App& app) {
    app.name(CELLWARDEN_TOOL_NAME);
    app.description(CELLWARDEN_TOOL_ABOUT ".");
    app.formatter(std::make_shared<ToolFormatter>());
    app.get_formatter()->column_width(30);
    app.set_version_flag("--version", CELLWARDEN_TOOL_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of every command and exit");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string(CELLWARDEN_TOOL_NAME ": ") + error.what() +
               "\nRun " CELLWARDEN_TOOL_NAME " --help for more information.\n";
    });
}

// Parses the command line. Returns -1 if the program should run, or its exit code: 0 after --help,
// 2 for wrong usage.
inline int parse_command_line(CLI::App& app, int argc, char** argv) {
    constexpr int WRONG_USAGE = 2;
    if (app.get_subcommands({}).empty()) {
        app.get_option("--help-all")->group("");  // a program without commands has --help alone
    }
    try {
        app.parse(argc, argv);
        return -1;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : WRONG_USAGE;
    }
}

// Returns the exit code of a finished program: `code`, or 2 if standard output could not be
// written completely.
inline int finish(int code) {
    constexpr int TROUBLE = 2;
    std::cout.flush();
    if (!std::cout || fflush(stdout) != 0 || ferror(stdout) != 0) {
        std::cerr << CELLWARDEN_TOOL_NAME ": standard output: " << strerror(errno) << '\n';
        return TROUBLE;
    }
    return code;
}

}  // namespace cellwarden

#include "common/command_line.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace cellwarden {
namespace {

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

}  // namespace

CommandOption& CommandOption::required() {
    option_->required();
    return *this;
}

CommandOption& CommandOption::show_default() {
    option_->capture_default_str();
    return *this;
}

CommandOption& CommandOption::expect(int count) {
    option_->expected(count);
    return *this;
}

CommandOption& CommandOption::between(int low, int high) {
    option_->check(CLI::Range(low, high));
    return *this;
}

CommandOption& CommandOption::between(double low, double high) {
    option_->check(CLI::Range(low, high));
    return *this;
}

CommandOption& CommandOption::one_of(const std::vector<std::string>& choices) {
    option_->check(CLI::IsMember(choices));
    return *this;
}

CommandOption Command::add(const char* names, std::string& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, std::filesystem::path& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, std::vector<std::string>& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, double& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, int& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, unsigned& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

CommandOption Command::add(const char* names, uint64_t& target, const char* about) {
    return CommandOption(app_->add_option(names, target, about));
}

void Command::add_flag(const char* name, bool& target, const char* about) {
    app_->add_flag(name, target, about);
}

void Command::let_last_win() {
    app_->option_defaults()->take_last();
}

CommandLine::CommandLine(const ProgramTexts& texts)
    : Command(new CLI::App(texts.about + std::string("."), texts.name)), owned_(app()) {
    app()->formatter(std::make_shared<ToolFormatter>());
    app()->get_formatter()->column_width(30);
    app()->set_version_flag("--version", texts.version);
    app()->set_help_all_flag("--help-all", "Print the help of every command and exit");
    app()->failure_message([name = texts.name](const CLI::App*, const CLI::Error& error) {
        return std::string(name) + ": " + error.what() + "\nRun " + name +
               " --help for more information.\n";
    });
    app()->footer(texts.footer);
}

CommandLine::~CommandLine() = default;

Command CommandLine::add_command(const char* name, const char* about) {
    app()->require_subcommand(1);
    return Command(app()->add_subcommand(name, about));
}

bool CommandLine::has_command(const char* name) const {
    return app()->got_subcommand(name);
}

int CommandLine::parse(int argc, char** argv) {
    constexpr int WRONG_USAGE = 2;
    if (app()->get_subcommands({}).empty()) {
        app()->get_option("--help-all")->group("");  // a program without commands has --help alone
    }
    try {
        app()->parse(argc, argv);
        return -1;
    } catch (const CLI::ParseError& error) {
        return app()->exit(error) == 0 ? 0 : WRONG_USAGE;
    }
}

int finish(const char* program, int code) {
    constexpr int TROUBLE = 2;
    std::cout.flush();
    if (!std::cout || fflush(stdout) != 0 || ferror(stdout) != 0) {
        std::cerr << program << ": standard output: " << strerror(errno) << '\n';
        return TROUBLE;
    }
    return code;
}

}  // namespace cellwarden

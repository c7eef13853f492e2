// The command line of the desk's programs: options, commands, --help, --version, --help-all and
// exit codes. The library that parses it is included by command_line.cpp alone, because it takes a
// compiler longer than the rest of a program.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cellwarden {

// An option or an argument that was added to a command. The functions restrict its values or its
// use, and return it.
class CommandOption {
  public:
    explicit CommandOption(CLI::Option* option) : option_(option) {}
    CommandOption& required();
    CommandOption& show_default();
    CommandOption& expect(int count);
    CommandOption& between(int low, int high);
    CommandOption& between(double low, double high);
    CommandOption& one_of(const std::vector<std::string>& choices);

  private:
    CLI::Option* option_;
};

// A command of a program, or the program itself. What the options of the command line say is stored
// in `target`, which must outlive parsing.
class Command {
  public:
    explicit Command(CLI::App* app) : app_(app) {}
    CommandOption add(const char* names, std::string& target, const char* about);
    CommandOption add(const char* names, std::filesystem::path& target, const char* about);
    CommandOption add(const char* names, std::vector<std::string>& target, const char* about);
    CommandOption add(const char* names, double& target, const char* about);
    CommandOption add(const char* names, int& target, const char* about);
    CommandOption add(const char* names, unsigned& target, const char* about);
    CommandOption add(const char* names, uint64_t& target, const char* about);
    void add_flag(const char* name, bool& target, const char* about);
    // Of an option that is given twice, the last one counts. Holds for options that are added
    // later.
    void let_last_win();

  protected:
    CLI::App* app() const { return app_; }

  private:
    CLI::App* app_;
};

struct ProgramTexts {
    const char* name;
    const char* about;    // one line, without the full stop
    const char* version;  // "cellwarden-bench 1.2.3"
    const char* footer;   // of the help, with the exit codes
};

class CommandLine : public Command {
  public:
    explicit CommandLine(const ProgramTexts& texts);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;
    CommandLine(CommandLine&&) = delete;
    CommandLine& operator=(CommandLine&&) = delete;

    // Adds a command; a program with commands needs one of them.
    Command add_command(const char* name, const char* about);
    bool has_command(const char* name) const;

    // Returns -1 if the program should run, or its exit code: 0 after --help, 2 for wrong usage.
    int parse(int argc, char** argv);

  private:
    std::unique_ptr<CLI::App> owned_;
};

// Returns the exit code of a finished program: `code`, or 2 if standard output could not be written
// completely.
int finish(const char* program, int code);

}  // namespace cellwarden

// The files of an input of a fuzzing target, and what its program printed.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace cellwarden::fuzz {

// Returns a directory of this process, empty at the first call; it is removed at the exit.
const std::filesystem::path& work_folder();

// Replaces the content of a file in the work folder, and returns its path.
std::string write_file(const std::string& name, const std::string& bytes);

struct Printed {
    int code;  // -1: ended with an InputError
    std::string out;
    std::string messages;
};

// Calls a command of a program, and catches what it prints.
Printed printed_by(const std::function<int()>& command);

// Breaks a promise if the text has a control character other than a line feed.
void promise_plain(const std::string& text);

}  // namespace cellwarden::fuzz

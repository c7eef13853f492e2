// A failed system call as an exception.
#pragma once

#include <string>
#include <system_error>

namespace cellwarden::bench {

// Throws std::system_error with the text "<what>: <text of the error number>".
[[noreturn]] inline void throw_system_error(const std::string& what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace cellwarden::bench

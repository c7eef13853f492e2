// Common part of the fuzzing targets. A target is a source file that defines seeds() and
// LLVMFuzzerTestOneInput(); libFuzzer provides the main function.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cellwarden::fuzz {

// Returns small initial inputs. `TARGET --seeds FOLDER` writes them to FOLDER and exits.
std::vector<std::string> seeds();

// Aborts the process if `holds` is false, so that libFuzzer keeps the input. `what` names the
// broken promise.
void promise(bool holds, const char* what);

// Reads an input from its front. Beyond its end, numbers are zero and texts are empty.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return rest_.empty(); }
    uint8_t byte() { return static_cast<uint8_t>(number(1)); }
    uint32_t number(size_t bytes);  // little-endian, at most 4 bytes
    std::string text(size_t length);

  private:
    std::string_view rest_;
};

}  // namespace cellwarden::fuzz

// What every fuzzing target shares. A target is one source that defines seeds() and
// LLVMFuzzerTestOneInput(); libFuzzer brings the main function.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cellwarden::fuzz {

// Small inputs to start from, made by the code that knows their form. `TARGET --seeds FOLDER`
// writes them there and ends.
std::vector<std::string> seeds();

// Ends the process, and so keeps the input, where `holds` is false; `what` is the broken promise.
void promise(bool holds, const char* what);

// Takes an input apart from its front. What lies beyond the end reads as zeros or as the empty
// text.
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

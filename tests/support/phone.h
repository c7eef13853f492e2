// The phone's libraries as the tests see them: fakes, linked in place of the real ones, that note
// what the daemon does and fail when told to. Everything starts afresh before every test.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cellwarden::test {

struct FakeEvent {
    std::string category;
    std::string name;
    std::string data;
};

struct FakePhone {
    // What was asked of the libraries, in one order: "log <text>", "read <unit>", "write <unit>",
    // "event <name>"
    std::vector<std::string> calls{};

    // libcutils
    std::vector<std::string> log{};  // texts of klog_write, in order
    std::map<std::string, std::string> properties{};

    // libtessera; a read copies what fits the buffer and reports the unit's whole size
    std::map<uint32_t, std::string> units{};
    std::set<uint32_t> failing_reads{};                           // such a read fails when all is copied
    std::set<uint32_t> failing_writes{};                          // such a write changes nothing
    std::vector<std::pair<uint32_t, std::string>> unit_writes{};  // in order, failed ones included

    // libondra
    bool ondra_missing = false;
    int ondra_active = 1;  // what ondra_is_active() returns
    bool ondra_refuses = false;
    int open_handles = 0;             // ondra_create less ondra_destroy
    std::vector<FakeEvent> events{};  // in order, refused ones excluded

    // libquillon_vendor: by modem slot; without an entry the call fails
    std::map<int, std::string> imei{};
    bool imei_without_text = false;  // the call succeeds with a null text and the IMEI's length

    // C library: what sleep() was asked for; it returns at once, and runs `during_sleep` if set
    std::vector<unsigned> sleeps{};
    std::function<void()> during_sleep{};
};
extern FakePhone phone;

// The bytes of a value, as a unit holds them.
template <typename T>
std::string bytes_of(const T& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace cellwarden::test

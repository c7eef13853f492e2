// The stand-in device libraries.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "bench/state_dir.h"
#include "platform/device/cutils.h"
#include "platform/device/ondra.h"
#include "platform/device/quillon.h"
#include "platform/device/tessera.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

class Device : public testing::Test {
  protected:
    void SetUp() override {
        top = make_temporary_state_dir();
        prepare_state_dir(top, Scenario{});
        setenv("CELLWARDEN_BENCH_DIR", top.c_str(), 1);
    }
    void TearDown() override { fs::remove_all(top); }

    fs::path top;
};

// Reads a unit into a buffer of `capacity` bytes; "fails" where it cannot be read.
std::string read_unit(uint32_t unit, uint32_t capacity) {
    std::string buffer(20'000, '.');
    uint32_t size = capacity;
    if (tessera_read_unit(unit, buffer.data(), &size) != 0) {
        return "fails";
    }
    EXPECT_EQ(buffer[capacity], '.');
    return buffer.substr(0, std::min(capacity, size)) + "/" + std::to_string(size);
}

// A writer that replaces a unit again and again is killed; whoever reads, meanwhile and afterwards,
// finds one of the two contents whole.
TEST_F(Device, AUnitIsReplacedAsOneStep) {
    const std::string contents[] = {std::string(9728, 'a'), std::string(100, 'b')};
    ASSERT_EQ(tessera_write_unit(2491, contents[0].data(), 9728), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        for (size_t i = 1;; i++) {
            const std::string& content = contents[i % 2];
            (void)tessera_write_unit(2491, content.data(), static_cast<uint32_t>(content.size()));
        }
    }
    const auto expect_whole = [&contents] {
        const std::string found = read_unit(2491, 9728);
        ASSERT_TRUE(found == contents[0] + "/9728" || found == contents[1] + "/100");
    };
    for (int i = 0; i < 3000; i++) {
        expect_whole();
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    expect_whole();
    EXPECT_EQ(read_unit(2802, 6), "fails");
    EXPECT_EQ(tessera_write_unit(2491, "new", 3), 0);
    EXPECT_EQ(read_unit(2491, 2), "ne/3");
    EXPECT_EQ(read_unit(2491, 9728), "new/3");
}

TEST_F(Device, PropertiesFallBackToTheDefaultAndAreCut) {
    const std::string longest(91, 'p');
    const struct {
        const char* name;
        const char* key;
        const char* content;
        const char* default_value;
        std::string value;
    } rows[] = {
        {"set, with a newline", "ro.b", "PVX-40\n", "none", "PVX-40"},
        {"not set, no default", "ro.e", nullptr, nullptr, ""},
        {"longest", "ro.f", longest.c_str(), "", longest},
    };
    for (const auto& row : rows) {
        if (row.content != nullptr) {
            std::ofstream(top / "properties" / row.key) << row.content;
        }
        char value[92];
        memset(value, '#', sizeof value);
        EXPECT_EQ(property_get(row.key, value, row.default_value), static_cast<int>(row.value.size())) << row.name;
        EXPECT_EQ(value, row.value) << row.name;
    }
    std::ofstream(top / "properties" / "ro.g") << longest << "q";
    char value[92];
    EXPECT_EQ(property_get("ro.g", value, ""), 91);
}

TEST_F(Device, EachFaultFailsWhatItNamesAndNothingElse) {
    // One letter for each call that fails.
    const auto failing_calls = [] {
        std::string calls;
        const auto note = [&calls](bool failed, char call) { calls += failed ? call : '-'; };
        char byte = 1;
        uint32_t size = 1;
        note(tessera_write_unit(7, &byte, 1) != 0, 'w');
        note(tessera_write_unit(77, &byte, 1) != 0, 'W');
        note(tessera_read_unit(7, &byte, &size) != 0, 'r');
        note(tessera_read_unit(77, &byte, &size) != 0, 'R');
        void* handle = ondra_create();
        note(handle == nullptr, 'c');
        note(ondra_is_active(handle) <= 0, 'a');
        note(ondra_add_event(handle, "charging", "E", &byte, 1) != 0, 'e');
        char* imei = nullptr;
        uint32_t length = 0;
        const int result = quillon_get_imei(1, &imei, &length);
        EXPECT_TRUE(result != 0 || (std::string(imei, length) == "3500" && imei[length] == '\0'));
        free(imei);
        note(result != 0, 'i');
        return calls;
    };
    std::ofstream(top / "imei" / "1") << "3500\n";
    ASSERT_EQ(failing_calls(), "--------");  // and both units are there from now on

    const struct {
        const char* fault;
        const char* calls;
    } rows[] = {
        {"unit-write-7", "w-------"},  {"unit-read-77", "---R----"},           {"unit-store", "wWrR----"},
        {"event-library", "----cae-"}, {"event-library-inactive", "-----a--"}, {"event-queue", "------e-"},
        {"imei", "-------i"},
    };
    for (const auto& row : rows) {
        switch_fault(top, row.fault, true);
        EXPECT_EQ(failing_calls(), row.calls) << row.fault;
        switch_fault(top, row.fault, false);
        EXPECT_EQ(failing_calls(), "--------") << row.fault;
    }
}

}  // namespace
}  // namespace cellwarden::bench

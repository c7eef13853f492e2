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
    ASSERT_GE(writer, 0);
    size_t next = 1;
    while (writer == 0) {
        const std::string& content = contents[next++ % 2];
        (void)tessera_write_unit(2491, content.data(), static_cast<uint32_t>(content.size()));
    }
    for (int i = 0; i <= 3000; i++) {
        const std::string found = read_unit(2491, 9728);
        EXPECT_TRUE(found == contents[0] + "/9728" || found == contents[1] + "/100") << i << " " << found.size();
        if (i == 2999) {
            kill(writer, SIGKILL);
            waitpid(writer, nullptr, 0);
        }
    }
    EXPECT_EQ(read_unit(2802, 6), "fails");
    EXPECT_EQ(tessera_write_unit(2491, "new", 3), 0);
    EXPECT_EQ(read_unit(2491, 2), "ne/3");
}

TEST_F(Device, PropertiesFallBackToTheDefaultAndAreCut) {
    const auto property = [this](const std::string& content, const char* default_value) {
        if (!content.empty()) {
            std::ofstream(top / "properties" / "ro.b") << content;
        }
        char value[92];
        memset(value, '#', sizeof value);
        const int length = property_get("ro.b", value, default_value);
        EXPECT_EQ(length, static_cast<int>(strlen(value)));
        return std::string(value);
    };
    EXPECT_EQ(property("", "none"), "none");
    EXPECT_EQ(property("", nullptr), "");
    EXPECT_EQ(property("PVX-40\n", "none"), "PVX-40");
    EXPECT_EQ(property(std::string(92, 'p'), ""), std::string(91, 'p'));
}

TEST_F(Device, EachFaultFailsWhatItNamesAndNothingElse) {
    // One letter for each call that fails.
    const auto failing_calls = [] {
        char byte = 1;
        uint32_t size = 1;
        std::string calls;
        calls += tessera_write_unit(7, &byte, 1) != 0 ? "w" : "";
        calls += tessera_write_unit(77, &byte, 1) != 0 ? "W" : "";
        calls += tessera_read_unit(7, &byte, &size) != 0 ? "r" : "";
        calls += tessera_read_unit(77, &byte, &size) != 0 ? "R" : "";
        void* handle = ondra_create();
        calls += handle == nullptr ? "c" : "";
        calls += ondra_is_active(handle) <= 0 ? "a" : "";
        calls += ondra_add_event(handle, "charging", "E", &byte, 1) != 0 ? "e" : "";
        char* imei = nullptr;
        const bool has_imei = quillon_get_imei(1, &imei, &size) == 0;
        EXPECT_TRUE(!has_imei || (std::string(imei, size) == "3500" && imei[size] == '\0'));
        free(imei);
        return calls + (has_imei ? "" : "i");
    };
    std::ofstream(top / "imei" / "1") << "3500\n";
    ASSERT_EQ(failing_calls(), "");  // and both units are there from now on
    const std::pair<const char*, const char*> rows[] = {
        {"unit-write-7", "w"},           {"unit-read-77", "R"}, {"unit-store", "wWrR"}, {"event-library", "cae"},
        {"event-library-inactive", "a"}, {"event-queue", "e"},  {"imei", "i"}};
    for (const auto& [fault, calls] : rows) {
        switch_fault(top, fault, true);
        EXPECT_EQ(failing_calls(), calls) << fault;
        switch_fault(top, fault, false);
        EXPECT_EQ(failing_calls(), "") << fault;
    }
}

}  // namespace
}  // namespace cellwarden::bench

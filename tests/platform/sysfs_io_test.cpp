#include "platform/sysfs_io.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

#include "support/phone.h"
#include "support/process.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

constexpr const char* FIRST_ZONE = "/sys/class/thermal/thermal_zone0/";

SysfsReadMask only(SysfsParamId id) {
    SysfsReadMask mask{};
    mask[id] = 1;
    return mask;
}

std::string read_text_of(SysfsParamId id) {
    SysfsParams snapshot;
    read_sysfs_params(snapshot, only(id));
    std::string text = snapshot[id].text;
    cleanup_sysfs_params(snapshot);
    return text;
}

TEST(SysfsRead, IntegersAndEnums) {
    const struct {
        const char* name;
        SysfsParamId id;
        std::optional<std::string> content;  // none: no such file
        int32_t expected;
    } rows[] = {
        {"decimal", PARAM_BATT_SOC, "42\n", 42},
        {"decimal, blanks and sign", PARAM_BATT_SOC, " \t+42\n", 42},
        {"decimal, negative", PARAM_BATT_SOC, "-350000\n", -350000},
        {"decimal, up to the first other character", PARAM_BATT_SOC, "12mV\n", 12},
        {"decimal does not take hex", PARAM_BATT_SOC, "0x1f\n", 0},
        {"decimal, cut to 32 bits", PARAM_BATT_SOC, "4294967303\n", 7},
        {"decimal, beyond 64 bits", PARAM_BATT_SOC, "99999999999999999999\n", -1},
        {"decimal, empty file", PARAM_BATT_SOC, "", 0},
        {"decimal, no file", PARAM_BATT_SOC, {}, 0},
        {"hex with prefix", PARAM_WLS_NEGOTIATED_PWR, "0x1f\n", 31},
        {"hex without prefix", PARAM_WLS_NEGOTIATED_PWR, "1F\n", 31},
        {"hex, 32 bits", PARAM_WLS_NEGOTIATED_PWR, "0xffffffff\n", -1},
        {"status", PARAM_BATTERY_STATUS, "Full\n", 2},
        {"status, another text", PARAM_BATTERY_STATUS, "Discharging\n", 0},
        {"status, more after the text", PARAM_BATTERY_STATUS, "Full \n", 0},
        {"model, still loading", PARAM_BATTERY_MODEL_NAME, "Loading Battery Data\n", 1},
        {"model, last row", PARAM_BATTERY_MODEL_NAME, "PELLAMIR_VOSKA\n", 5},
        {"USB type", PARAM_QCOM_USB_REAL_TYPE, "PD_PPS\n", 8},
        {"Type-C mode", PARAM_TYPEC_MODE, "Type-C source attached (high current)\n", 5},
        {"Type-C mode, another text", PARAM_TYPEC_MODE, "Sink attached\n", 6},
        {"Type-C mode, no file", PARAM_TYPEC_MODE, {}, 6},
    };
    for (const auto& row : rows) {
        empty_sysfs();
        if (row.content) {
            write_attribute(row.id, *row.content);
        }
        SysfsParams snapshot;
        read_sysfs_params(snapshot, only(row.id));
        EXPECT_EQ(snapshot[row.id].kind, KIND_INTEGER) << row.name;
        EXPECT_EQ(snapshot[row.id].value.integer, row.expected) << row.name;
        cleanup_sysfs_params(snapshot);
    }
}

TEST(SysfsRead, Texts) {
    const auto a = [](size_t count) { return std::string(count, 'a'); };
    const struct {
        const char* name;
        std::string content;
        std::string expected;
    } rows[] = {
        {"one line", "EPP\n", "EPP"},
        {"4,095 characters and a newline", a(4095) + "\n", a(4095)},
        {"4,096 characters", a(4096), a(4095)},
        {"a NUL hides the rest of its line", "ab\0cd\nef\n"s, "abef"},
    };
    for (const auto& row : rows) {
        write_attribute(PARAM_WLS_TYPE, row.content);
        EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), row.expected) << row.name;
    }
    empty_sysfs();
    std::filesystem::create_directories(SysfsParamTable[PARAM_WLS_TYPE].path);
    EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), "") << "a directory in place of the file";
}

// The definition of what is kept of a file: fgets line after line, each as long as its text.
std::string gathered_by_fgets(const char* path) {
    char buffer[SYSFS_BUFFER_SIZE] = "";
    size_t length = 0;
    FILE* file = fopen(path, "r");
    while (length < sizeof buffer - 1 &&
           fgets(buffer + length, static_cast<int>(sizeof buffer - length), file) != nullptr) {
        length += strlen(buffer + length);
    }
    (void)fclose(file);
    std::string text(buffer, length);
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

TEST(SysfsRead, AnyBytesAreGatheredAsByFgets) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const char* path = SysfsParamTable[PARAM_WLS_TYPE].path;
    for (int run = 0; run < 500 && !HasFailure(); run++) {
        // From nearly only letters to nearly only NULs and newlines, short or around the limit.
        const uint32_t specials = 1U << random() % 13;
        std::string content(run % 2 == 0 ? random() % 40 : 4000 + random() % 6000, 'a');
        for (char& c : content) {
            const uint32_t draw = static_cast<uint32_t>(random()) % 4096;
            c = draw >= specials ? 'a' : draw % 2 == 0 ? '\0' : '\n';
        }
        write_attribute(PARAM_WLS_TYPE, content);
        EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), gathered_by_fgets(path)) << "run " << run;
    }
}

TEST(SysfsRead, TheMaskLeavesOtherSlotsUnread) {
    write_attribute(PARAM_BATT_SOC, "42\n");
    write_attribute(PARAM_SYSTEM_SOC, "43\n");
    SysfsParams snapshot;
    snapshot[PARAM_SYSTEM_SOC].kind = KIND_INTEGER;
    snapshot[PARAM_SYSTEM_SOC].value.integer = 7;
    EXPECT_EQ(read_sysfs_params(snapshot, only(PARAM_BATT_SOC)), 134);
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].value.integer, 42);
    EXPECT_STREQ(snapshot[PARAM_BATT_SOC].text, "42");
    EXPECT_EQ(snapshot[PARAM_SYSTEM_SOC].kind, KIND_NOT_READ);
    EXPECT_EQ(snapshot[PARAM_SYSTEM_SOC].value.integer, 7);

    cleanup_sysfs_params(snapshot);
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].raw, nullptr);
    EXPECT_STREQ(snapshot[PARAM_BATT_SOC].text, "");
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].kind, KIND_NOT_READ);
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].value.integer, 42);
}

#ifndef __SANITIZE_ADDRESS__
SysfsReadMask everything() {
    SysfsReadMask mask;
    mask.fill(1);
    return mask;
}

void fill_every_attribute() {
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        if (id != PARAM_SDM_THERM_ZONE_TEMP) {
            write_attribute(static_cast<SysfsParamId>(id), std::to_string(id) + "\n");
        }
    }
    write_attribute(std::string(FIRST_ZONE) + "type", "sdm_therm\n");
    write_attribute(std::string(FIRST_ZONE) + "temp", "31250\n");
}

TEST(SysfsRead, OneHeapBlockPerFileThatHoldsSomething) {
    in_own_process([] {
        fill_every_attribute();
        write_attribute(PARAM_BATT_ID, "");
        write_attribute(PARAM_FV, "\n");
        SysfsParams snapshot;
        const size_t before = heap_calls();
        read_sysfs_params(snapshot, everything());
        EXPECT_EQ(heap_calls() - before, SYSFS_PARAM_COUNT - 2);
        EXPECT_EQ(snapshot[PARAM_SDM_THERM_ZONE_TEMP].value.integer, 31250);
        cleanup_sysfs_params(snapshot);

        set_heap_empty(true);
        read_sysfs_params(snapshot, everything());
        write_sysfs_integer(PARAM_BATT_SOC, 1);
        set_heap_empty(false);
        EXPECT_EQ(snapshot[PARAM_BATT_SOC].kind, KIND_INTEGER);
        EXPECT_EQ(snapshot[PARAM_BATT_SOC].value.integer, 0);
        EXPECT_STREQ(snapshot[PARAM_WLS_TYPE].value.text, "");
        EXPECT_EQ(read_attribute(PARAM_BATT_SOC), "1\n");
    });
}
#endif

SysfsParamValue integer(int32_t value) {
    return {.kind = KIND_INTEGER, .value = {.integer = value}};
}

SysfsParamValue real(float value) {
    return {.kind = KIND_FLOAT, .value = {.real = value}};
}

SysfsParamValue text(const char* value) {
    return {.kind = KIND_TEXT, .value = {.text = value}};
}

TEST(SysfsWrite, OneTextOrNothing) {
    constexpr const char* OLD = "what was there before\n";
    const struct {
        const char* name;
        SysfsParamId id;
        SysfsParamValue record;
        const char* expected;  // OLD: refused
    } rows[] = {
        {"decimal", PARAM_BATT_AGING_LEVEL, integer(7), "7\n"},
        {"decimal, lowest", PARAM_BATT_AGING_LEVEL, integer(INT32_MIN), "-2147483648\n"},
        {"decimal from a float", PARAM_BATT_AGING_LEVEL, real(7), OLD},
        {"hex", PARAM_WLS_NEGOTIATED_PWR, integer(7), "0x7\n"},
        {"hex, all bits", PARAM_WLS_NEGOTIATED_PWR, integer(-1), "0xffffffff\n"},
        {"text, as it stands", PARAM_WLS_TYPE, text("EPP"), "EPP"},
        {"text missing", PARAM_WLS_TYPE, text(nullptr), OLD},
        {"enum, first row", PARAM_BATTERY_STATUS, integer(0), "Charging"},
        {"enum, last row with a text", PARAM_BATTERY_STATUS, integer(1), "Full"},
        {"enum, terminating row", PARAM_BATTERY_STATUS, integer(2), OLD},
        {"enum, before the table", PARAM_BATTERY_STATUS, integer(-1), OLD},
    };
    for (const auto& row : rows) {
        write_attribute(row.id, OLD);
        const int32_t result = write_sysfs_param(row.id, row.record);
        EXPECT_EQ(result >= 0, row.expected != OLD) << row.name;
        EXPECT_TRUE(result >= -1) << row.name;
        EXPECT_EQ(read_attribute(row.id), row.expected) << row.name;
    }
}

TEST(SysfsWrite, NoFileNoWrite) {
    write_attribute(PARAM_BATT_ID, "");  // the folder is there
    EXPECT_EQ(write_sysfs_integer(PARAM_BATT_AGING_LEVEL, 7), -1);
    EXPECT_EQ(read_attribute(PARAM_BATT_AGING_LEVEL), "(no file)");
    std::filesystem::create_directories(SysfsParamTable[PARAM_BATT_SOC].path);
    EXPECT_EQ(write_sysfs_integer(PARAM_BATT_SOC, 7), -1) << "a directory";
    EXPECT_EQ(write_sysfs_integer(PARAM_SDM_THERM_ZONE_TEMP, 7), -1) << "no thermal zone";
    EXPECT_EQ(write_sysfs_param(SYSFS_PARAM_COUNT, integer(7)), -1);
    EXPECT_EQ(write_sysfs_param(UINT32_MAX, integer(7)), -1);
}

TEST(SysfsReady, OneLookASecondThirtyAtMost) {
    const struct {
        const char* name;
        size_t appears_during_sleep;  // 0: there from the start
        size_t sleeps;
        bool gives_up;
    } rows[] = {
        {"ready at the last look", 29, 30, false},
        {"ready after the last look", 30, 30, true},
    };
    for (const auto& row : rows) {
        phone = FakePhone{};
        empty_sysfs();
        const auto appear_in_time = [&row] {
            if (phone.sleeps.size() == row.appears_during_sleep) {
                write_attribute(PARAM_USB_INPUT_SUSPEND, "0\n");
            }
        };
        phone.during_sleep = appear_in_time;
        appear_in_time();
        wait_sysfs_ready();
        EXPECT_EQ(phone.sleeps, std::vector<unsigned>(row.sleeps, 1)) << row.name;
        const std::vector<std::string> give_up = {
            "<3>cellwarden: Reached retry max to wait for sysfs ready, so give up waiting. "
            "Probably, all writes to sysfs will fail.\n"};
        EXPECT_EQ(phone.log, row.gives_up ? give_up : std::vector<std::string>{}) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden

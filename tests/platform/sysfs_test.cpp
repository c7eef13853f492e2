// Reading and writing of parameters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "cycle/cycle.h"
#include "platform/sysfs_io.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

SysfsReadMask only(SysfsParamId id) {
    SysfsReadMask mask{};
    mask[id] = 1;
    return mask;
}

std::string read_text_of(SysfsParamId id) {
    SysfsParams snapshot;
    read_sysfs_params(device, snapshot, only(id));
    std::string text = snapshot[id].text;
    cleanup_sysfs_params(snapshot);
    return text;
}

// The formats; no row of the table has the last four.
constexpr SysfsEnumEntry SIDES[] = {{"left", {.text = "right"}}, {"right", {.text = "R"}}, {nullptr, {.text = "none"}}};
const SysfsParamDesc& DECIMAL = SysfsParamTable[PARAM_BATT_SOC];
const SysfsParamDesc& HEX = SysfsParamTable[PARAM_WLS_NEGOTIATED_PWR];
const SysfsParamDesc& TEXT = SysfsParamTable[PARAM_WLS_TYPE];
const SysfsParamDesc& STATUS = SysfsParamTable[PARAM_BATTERY_STATUS];
constexpr SysfsParamDesc FLOAT = {2, {""}, FORMAT_FLOAT, {nullptr}};
constexpr SysfsParamDesc SIDE = {2, {""}, FORMAT_ENUM_TEXT, {SIDES}};
constexpr SysfsParamDesc NUMBER_OF = {2, {""}, FORMAT_CONVERTED_INT, {.to_integer = atoi}};
constexpr SysfsParamDesc AS_C = {2, {""}, FORMAT_CONVERTED_TEXT, {.to_text = [](const char*) { return "C"; }}};

std::string shown(const SysfsParamValue& slot) {
    return slot.kind == KIND_INTEGER ? "integer " + std::to_string(slot.value.integer)
           : slot.kind == KIND_FLOAT ? "real " + std::to_string(slot.value.real)
           : slot.kind == KIND_TEXT  ? std::string("text ") + slot.value.text
                                     : "not read";
}

std::string written(const SysfsParamDesc& format, const SysfsParamValue& record) {
    char buffer[SYSFS_BUFFER_SIZE];
    const char* text = format_sysfs_value(format, record, buffer);
    return text != nullptr ? text : "(none)";
}

TEST(SysfsFormats, ATextIsConvertedToAValueAndBack) {
    const struct {
        const char* name;
        const SysfsParamDesc& format;
        const char *text, *value, *text_again;
    } rows[] = {
        {"decimal, blanks and sign", DECIMAL, " \t+42", "integer 42", "42\n"},
        {"decimal, up to the first other character", DECIMAL, "-12mV", "integer -12", "-12\n"},
        {"decimal stops at a hex prefix", DECIMAL, "0x1f", "integer 0", "0\n"},
        {"decimal, truncated to 32 bits", DECIMAL, "4294967303", "integer 7", "7\n"},
        {"decimal, beyond 64 bits", DECIMAL, "99999999999999999999", "integer -1", "-1\n"},
        {"decimal, empty", DECIMAL, "", "integer 0", "0\n"},
        {"hex with prefix", HEX, "0x1f", "integer 31", "0x1f\n"},
        {"hex without prefix, 32 bits", HEX, "FFffFFff", "integer -1", "0xffffffff\n"},
        {"float", FLOAT, "-1.5e1V", "real -15.000000", "-15.000000\n"},
        {"text", TEXT, "EPP", "text EPP", "EPP"},
        {"enum; the value is written as the text of that row", STATUS, "Charging", "integer 1", "Full"},
        {"enum; the terminating row has no text", STATUS, "Full", "integer 2", "(none)"},
        {"enum, characters after the text", STATUS, "Full ", "integer 0", "Charging"},
        {"enum, another value for unknown texts", SysfsParamTable[PARAM_TYPEC_MODE], "", "integer 6", "Unknown"},
        {"enum of texts; a text of the table is written", SIDE, "left", "text right", "right"},
        {"enum of texts; unknown text", SIDE, "Left", "text none", "(none)"},
        {"converted to an integer", NUMBER_OF, "42", "integer 42", "(none)"},
        {"converted to a text", AS_C, "42", "text C", "(none)"},
    };
    for (const auto& row : rows) {
        SysfsParamValue slot{.text = row.text};
        parse_sysfs_value(row.format, slot);
        EXPECT_EQ(shown(slot), row.value) << row.name;
        EXPECT_EQ(written(row.format, slot), row.text_again) << row.name;
    }
}

TEST(SysfsFormats, ARecordOfAnotherKindIsNotWritten) {
    const std::pair<SysfsParamDesc, SysfsKind> formats[] = {{DECIMAL, KIND_INTEGER}, {HEX, KIND_INTEGER},
                                                            {FLOAT, KIND_FLOAT},     {TEXT, KIND_TEXT},
                                                            {STATUS, KIND_INTEGER},  {SIDE, KIND_TEXT}};
    for (const auto& [format, kind] : formats) {
        for (const SysfsKind other : {KIND_NOT_READ, KIND_TEXT, KIND_INTEGER, KIND_FLOAT}) {
            const SysfsParamValue record{.kind = other, .value = {.text = other == kind ? nullptr : "left"}};
            EXPECT_EQ(written(format, record) == "(none)", other != kind || kind == KIND_TEXT)
                << format.format << " " << other;
        }
    }
    EXPECT_EQ(written(STATUS, {.kind = KIND_INTEGER, .value = {.integer = -1}}), "(none)") << "before the table";
}

TEST(SysfsRead, TextsUpTo4095Characters) {
    const std::string longest(4095, 'a');
    const std::pair<std::string, std::string> rows[] = {
        {"EPP\n", "EPP"}, {longest + "\n", longest}, {longest + "a", longest}, {"ab\0cd\nef\n"s, "abef"}};
    for (const auto& [content, text] : rows) {
        write_attribute(PARAM_WLS_TYPE, content);
        EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), text) << content.size() << " bytes";
    }
    phone.attributes.clear();
    EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), "") << "no such attribute";
}

// The definition of the stored text: fgets reads lines into a buffer of 4,096 bytes, each after the text
// of the previous line.
std::string gathered_by_fgets(std::string content) {
    char buffer[SYSFS_BUFFER_SIZE] = "";
    size_t length = 0;
    FILE* file = fmemopen(content.data(), content.size(), "r");
    while (length < 4095 && fgets(buffer + length, static_cast<int>(4096 - length), file) != nullptr) {
        length += strlen(buffer + length);
    }
    (void)fclose(file);
    return std::string(buffer, length - (length > 0 && buffer[length - 1] == '\n' ? 1 : 0));
}

TEST(SysfsRead, AnyBytesAreGatheredAsByFgets) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    for (int run = 0; run < 500 && !HasFailure(); run++) {
        // Mostly letters up to mostly NULs and newlines; short or around the limit.
        const uint32_t specials = 1U << random() % 13;
        std::string content(run % 2 == 0 ? 1 + random() % 40 : 4000 + random() % 6000, 'a');
        for (char& c : content) {
            const uint32_t draw = static_cast<uint32_t>(random()) % 4096;
            c = draw >= specials ? 'a' : draw % 2 == 0 ? '\0' : '\n';
        }
        write_attribute(PARAM_WLS_TYPE, content);
        EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), gathered_by_fgets(content)) << "seed " << seed << ", run " << run;
    }
}

TEST(SysfsRead, TheMaskLeavesOtherSlotsUnread) {
    write_attribute(PARAM_BATT_SOC, "42\n");
    write_attribute(PARAM_SYSTEM_SOC, "43\n");
    SysfsParams snapshot;
    snapshot[PARAM_SYSTEM_SOC].value.integer = 7;
    EXPECT_EQ(read_sysfs_params(device, snapshot, only(PARAM_BATT_SOC)), 134);
    EXPECT_STREQ(snapshot[PARAM_BATT_SOC].text, "42");
    EXPECT_EQ(snapshot[PARAM_SYSTEM_SOC].kind, KIND_NOT_READ);
    EXPECT_EQ(snapshot[PARAM_SYSTEM_SOC].value.integer, 7);

    cleanup_sysfs_params(snapshot);
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].raw, nullptr);
    EXPECT_STREQ(snapshot[PARAM_BATT_SOC].text, "");
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].kind, KIND_NOT_READ);
    EXPECT_EQ(snapshot[PARAM_BATT_SOC].value.integer, 42);
}

TEST(SysfsRead, AllocatesAHeapBlockPerNonEmptyFile) {
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        if (id != PARAM_SDM_THERM_ZONE_TEMP) {
            write_attribute(static_cast<SysfsParamId>(id), id == PARAM_BATT_ID ? "" : id == PARAM_FV ? "\n" : "1\n");
        }
    }
    SysfsReadMask everything;
    everything.fill(1);
    everything[PARAM_SDM_THERM_ZONE_TEMP] = 0;
    SysfsParams snapshot;
    read_sysfs_params(device, snapshot, everything);
    EXPECT_EQ(phone.heap_blocks, std::vector<size_t>(SYSFS_PARAM_COUNT - 3, 2));
    cleanup_sysfs_params(snapshot);

    phone.heap_is_empty = true;
    read_sysfs_params(device, snapshot, everything);
    EXPECT_EQ(shown(snapshot[PARAM_BATT_SOC]), "integer 0");
    EXPECT_EQ(shown(snapshot[PARAM_WLS_TYPE]), "text ");
}

TEST(SysfsWrite, NeedsAParameterWithAPathAndAValueOfItsFormat) {
    write_attribute(PARAM_BATT_SOC, "as before");
    EXPECT_EQ(write_sysfs_param(device, PARAM_BATT_SOC, {.kind = KIND_TEXT, .value = {.text = "7"}}), -1);
    EXPECT_EQ(write_sysfs_param(device, SYSFS_PARAM_COUNT, {.kind = KIND_INTEGER}), -1);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(write_sysfs_integer(device, PARAM_BATT_SOC, 12345), 0);
    EXPECT_EQ(read_attribute(PARAM_BATT_SOC), "12345\n");
    EXPECT_EQ(write_sysfs_integer(device, PARAM_BATT_AGING_LEVEL, 7), -1) << "no such attribute";
    EXPECT_EQ(write_sysfs_integer(device, PARAM_SDM_THERM_ZONE_TEMP, 7), -1) << "no thermal zone";
}

// --- Attributes as files.

// The stand-in with the attributes of files.
Device device_with_files() {
    Device mixed = device;
    mixed.attributes = attribute_files;
    return mixed;
}

TEST(AttributeFile, SnapshotsFollowDirectoriesAndLinks) {
    const Device with_files = device_with_files();
    const auto read_capacity = [&with_files] {
        SysfsParams snapshot;
        read_sysfs_params(with_files, snapshot, full_cycle_mask());
        const int32_t capacity = param_integer(snapshot, PARAM_BATTERY_CAPACITY);
        EXPECT_EQ(param_integer(snapshot, PARAM_BATT_SOC), 8000) << "a directory that stays";
        cleanup_sysfs_params(snapshot);
        return capacity;
    };
    write_file(SysfsParamTable[PARAM_BATT_SOC].path, "8000\n");
    const std::filesystem::path battery = "/sys/class/power_supply/battery";
    const struct {
        const char* name;
        std::function<void()> change;
        int32_t capacity;
    } rows[] = {
        {"no directory", [] {}, 0},
        {"a directory", [&] { write_file(battery / "capacity", "41\n"); }, 41},
        {"the same path as a link to a device",
         [&] {
             std::filesystem::remove_all(battery);
             write_file("/sys/devices/a/battery/capacity", "42\n");
             create_directory_symlink(std::filesystem::path("../../devices/a/battery"), battery);
         },
         42},
        {"the device replaced",
         [&] {
             rename(std::filesystem::path("/sys/devices/a"), std::filesystem::path("/sys/devices/b"));
             write_file("/sys/devices/a/battery/capacity", "43\n");
         },
         43},
        {"a link to nothing", [] { std::filesystem::remove_all("/sys/devices/a"); }, 0},
        {"a file in place of the directory", [] { write_file("/sys/devices/a/battery", "44\n"); }, 0},
    };
    for (const auto& row : rows) {
        row.change();
        EXPECT_EQ(read_capacity(), row.capacity) << row.name;
    }
}

// The open descriptors on the stand-in: directories by their paths, attributes by name.
struct Openings {
    std::vector<std::string> directories{};
    int by_path = 0, relative = 0;
    int next_fd = 100;
    std::multiset<int> open{};
} openings;

Device device_that_counts() {
    openings = Openings{};
    Device counting = device;
    counting.attributes.open_directory = [](void*, const char* path) {
        openings.directories.emplace_back(path);
        if (openings.directories.back() == "/sys/class/battman_dbg/") {
            return -1;
        }
        openings.open.insert(openings.next_fd);
        return openings.next_fd++;
    };
    counting.attributes.open = [](void*, int, const char*, size_t name_at) {
        (name_at == 0 ? openings.by_path : openings.relative)++;
        // Sometimes another owner has a descriptor in between.
        openings.next_fd += openings.relative % 10 == 9 ? 1 : 0;
        openings.open.insert(openings.next_fd);
        return openings.next_fd++;
    };
    counting.attributes.read = [](void*, int, char*, size_t) -> ssize_t { return 0; };
    counting.attributes.close = [](void*, int first, int last) {
        for (int fd = first; fd <= last; fd++) {
            EXPECT_EQ(openings.open.erase(fd), 1U) << fd << " belongs to another owner";
        }
    };
    return counting;
}

TEST(SysfsRead, OpensEachDirectoryOnceAndClosesWhatItOpens) {
    SysfsParams snapshot;
    const Device counting = device_that_counts();
    counting.thermal_zone_temp_path[0] = '/';  // already found
    read_sysfs_params(counting, snapshot, light_cycle_mask());
    EXPECT_EQ(openings.directories, std::vector<std::string>{}) << "two attributes in different directories";
    EXPECT_EQ(openings.by_path, 2);

    openings = Openings{};
    read_sysfs_params(counting, snapshot, full_cycle_mask());
    EXPECT_EQ(
        openings.directories,
        (std::vector<std::string>{"/sys/class/power_supply/battery/", "/sys/class/power_supply/usb/",
                                  "/sys/class/power_supply/wireless/", "/sys/class/qcom-battery/",
                                  "/sys/class/battchg_ext/", "/sys/class/battman_dbg/", "/sys/class/battman_dbg2/"}));
    EXPECT_EQ(openings.by_path, 1);
    EXPECT_EQ(openings.relative, 134 - 1 - 52) << "no attribute of the missing directory";
    EXPECT_EQ(openings.open, std::multiset<int>{});
}

TEST(AttributeFile, IsReplacedAndNeverCreated) {
    const char* path = "/sys/class/x/y";
    EXPECT_EQ(attribute_files.write(nullptr, path, "7\n"), -1);
    EXPECT_EQ(read_file(path), "(no file)");
    EXPECT_FALSE(attribute_files.is_writable(nullptr, path));
    write_file(path, "what was there before\n");
    EXPECT_TRUE(attribute_files.is_writable(nullptr, path));
    EXPECT_EQ(attribute_files.write(nullptr, path, "12345\n"), 0);
    EXPECT_EQ(read_file(path), "12345\n");
    EXPECT_EQ(attribute_files.write(nullptr, path, nullptr), -1) << "a record of another kind";
    EXPECT_EQ(read_file(path), "12345\n");
}

// The results of the first calls of write(); later calls write everything.
std::deque<ssize_t> accepted;
std::string taken;

ssize_t take_by_script(int /*fd*/, const void* bytes, size_t size) {
    ssize_t count = static_cast<ssize_t>(size);
    if (!accepted.empty()) {
        count = accepted.front();
        accepted.pop_front();
    }
    taken.append(static_cast<const char*>(bytes), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count;
}

TEST(AttributeFile, ContinuesAfterAShortWriteAndRetriesNoFailure) {
    const struct {
        const char* name;
        std::deque<ssize_t> writes;
        int32_t result;
        const char* content;
    } rows[] = {
        {"in pieces", {2, 3}, 0, "12345\n"},
        {"nothing is accepted", {0}, -1, ""},
        {"a part is accepted, then nothing", {2, 0}, -1, "12"},
        {"an error", {-1}, -1, ""},
    };
    for (const auto& row : rows) {
        accepted = row.writes;
        taken.clear();
        EXPECT_EQ(write_text(-1, "12345\n", take_by_script), row.result) << row.name;
        EXPECT_EQ(taken, row.content) << row.name;
    }
}

TEST(SysfsReady, ChecksOnceASecondAtMostThirtyTimes) {
    const Calls given_up = {
        "<3>cellwarden: Reached retry max to wait for sysfs ready, so give up waiting. "
        "Probably, all writes to sysfs will fail.\n"};
    for (const size_t appears_during_sleep : {29U, 30U}) {
        phone = StandIn{.during_sleep = [&] {
            if (phone.sleeps.size() == appears_during_sleep) {
                write_attribute(PARAM_USB_INPUT_SUSPEND, "0\n");
            }
        }};
        wait_sysfs_ready(device);
        EXPECT_EQ(phone.sleeps, std::vector<unsigned>(30, 1)) << appears_during_sleep;
        EXPECT_EQ(logs(), appears_during_sleep == 30 ? given_up : Calls{});
    }
}

}  // namespace
}  // namespace cellwarden

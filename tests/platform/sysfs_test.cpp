// How the values of parameters are read and written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>

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

// The formats, with the kind of a value that can be written; the last four are those that no row of the table has now.
constexpr SysfsEnumEntry SIDES[] = {{"left", {.text = "right"}}, {"right", {.text = "R"}}, {nullptr, {.text = "none"}}};
struct Format {
    SysfsParamDesc desc;
    SysfsKind kind;
};
const std::map<std::string, Format> FORMATS = {
    {"decimal", {SysfsParamTable[PARAM_BATT_SOC], KIND_INTEGER}},
    {"hex", {SysfsParamTable[PARAM_WLS_NEGOTIATED_PWR], KIND_INTEGER}},
    {"text", {SysfsParamTable[PARAM_WLS_TYPE], KIND_TEXT}},
    {"status", {SysfsParamTable[PARAM_BATTERY_STATUS], KIND_INTEGER}},
    {"type-C mode", {SysfsParamTable[PARAM_TYPEC_MODE], KIND_INTEGER}},
    {"float", {{2, {""}, FORMAT_FLOAT, {nullptr}}, KIND_FLOAT}},
    {"side", {{2, {""}, FORMAT_ENUM_TEXT, {SIDES}}, KIND_TEXT}},
    {"number of", {{2, {""}, FORMAT_CONVERTED_INT, {.to_integer = atoi}}, KIND_NOT_READ}},
    {"as C", {{2, {""}, FORMAT_CONVERTED_TEXT, {.to_text = [](const char*) { return "C"; }}}, KIND_NOT_READ}}};

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

TEST(SysfsFormats, ATextBecomesAValueAndThatATextAgain) {
    nlohmann::json rows = nlohmann::json::parse(std::ifstream(FORMAT_ROWS));
    rows.erase(0);  // the names of the columns
    for (const auto& row : rows) {
        const std::string name = row[0], text = row[2];
        const SysfsParamDesc& format = FORMATS.at(row[1]).desc;
        SysfsParamValue slot{.text = text.c_str()};
        parse_sysfs_value(format, slot);
        EXPECT_EQ(shown(slot), row[3]) << name;
        EXPECT_EQ(written(format, slot), row[4]) << name;
    }
}

TEST(SysfsFormats, ARecordOfAnotherKindIsNotWritten) {
    for (const auto& [name, format] : FORMATS) {
        for (const SysfsKind other : {KIND_NOT_READ, KIND_TEXT, KIND_INTEGER, KIND_FLOAT}) {
            const bool is_same = other == format.kind && other != KIND_NOT_READ;
            const SysfsParamValue record{.kind = other, .value = {.text = is_same ? nullptr : "left"}};
            EXPECT_EQ(written(format.desc, record) != "(none)", is_same && other != KIND_TEXT) << name << " " << other;
        }
    }
    EXPECT_EQ(written(FORMATS.at("status").desc, {.kind = KIND_INTEGER, .value = {.integer = -1}}), "(none)")
        << "before the table";
}

// The definition of what is kept: fgets line after line, each as long as its text, into a buffer of
// 4,096 bytes.
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
    const std::string longest(4095, 'a');
    std::vector<std::string> contents = {"EPP\n", longest + "\n", longest + "a", "ab\0cd\nef\n"s};
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    for (int run = 0; run < 500; run++) {
        // From nearly only letters to nearly only NULs and newlines, short or around the limit.
        const uint32_t specials = 1U << random() % 13;
        std::string& content = contents.emplace_back(run % 2 == 0 ? 1 + random() % 40 : 4000 + random() % 6000, 'a');
        for (char& c : content) {
            const uint32_t draw = static_cast<uint32_t>(random()) % 4096;
            c = draw >= specials ? 'a' : draw % 2 == 0 ? '\0' : '\n';
        }
    }
    for (size_t i = 0; i < contents.size() && !HasFailure(); i++) {
        write_attribute(PARAM_WLS_TYPE, contents[i]);
        EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), gathered_by_fgets(contents[i])) << "seed " << seed << ", " << i;
    }
    phone.attributes.clear();
    EXPECT_EQ(read_text_of(PARAM_WLS_TYPE), "") << "no such attribute";
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

TEST(SysfsRead, OneHeapBlockPerFileThatHoldsSomething) {
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

TEST(AttributeFile, SnapshotsFollowDirectoriesAndLinks) {
    Device with_files = device;
    with_files.attributes = attribute_files;
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
    EXPECT_EQ(read_capacity(), 0) << "no directory";
    write_file(battery / "capacity", "41\n");
    EXPECT_EQ(read_capacity(), 41) << "a directory";
    std::filesystem::remove_all(battery);
    write_file("/sys/devices/a/battery/capacity", "42\n");
    create_directory_symlink(std::filesystem::path("../../devices/a/battery"), battery);
    EXPECT_EQ(read_capacity(), 42) << "the same path as a link to a device";
    rename(std::filesystem::path("/sys/devices/a"), std::filesystem::path("/sys/devices/b"));
    write_file("/sys/devices/a/battery/capacity", "43\n");
    EXPECT_EQ(read_capacity(), 43) << "the device replaced";
    std::filesystem::remove_all("/sys/devices/a");
    EXPECT_EQ(read_capacity(), 0) << "a link to nothing";
    write_file("/sys/devices/a/battery", "44\n");
    EXPECT_EQ(read_capacity(), 0) << "a file in place of the directory";
}

// What is opened, and whether it is closed, on the stand-in: directories with their paths,
// attributes by name.
struct Openings {
    Calls directories{};
    int by_path = 0, relative = 0;
    int next_fd = 100;
    std::multiset<int> open{};

    int add() { return *open.insert(next_fd++); }
} openings;

Device device_that_counts() {
    Device counting = device;
    counting.attributes.open_directory = [](void*, const char* path) {
        openings.directories.emplace_back(path);
        return openings.directories.back() == "/sys/class/battman_dbg/" ? -1 : openings.add();
    };
    counting.attributes.open = [](void*, int, const char*, size_t name_at) {
        (name_at == 0 ? openings.by_path : openings.relative)++;
        openings.next_fd += openings.relative % 10 == 9 ? 1 : 0;  // now and then one between is someone else's
        return openings.add();
    };
    counting.attributes.read = [](void*, int, char*, size_t) -> ssize_t { return 0; };
    counting.attributes.close = [](void*, int first, int last) {
        for (int fd = first; fd <= last; fd++) {
            EXPECT_EQ(openings.open.erase(fd), 1U) << fd << " is someone else's";
        }
    };
    return counting;
}

TEST(SysfsRead, OpensEachDirectoryOnceAndClosesWhatItOpens) {
    SysfsParams snapshot;
    const Device counting = device_that_counts();
    counting.thermal_zone_temp_path[0] = '/';  // found already
    openings = Openings{};
    read_sysfs_params(counting, snapshot, light_cycle_mask());
    EXPECT_EQ(openings.directories, Calls{}) << "two attributes, no directory in common";
    EXPECT_EQ(openings.by_path, 2);

    openings = Openings{};
    read_sysfs_params(counting, snapshot, full_cycle_mask());
    EXPECT_EQ(openings.directories,
              (Calls{"/sys/class/power_supply/battery/", "/sys/class/power_supply/usb/",
                     "/sys/class/power_supply/wireless/", "/sys/class/qcom-battery/", "/sys/class/battchg_ext/",
                     "/sys/class/battman_dbg/", "/sys/class/battman_dbg2/"}));
    EXPECT_EQ(openings.by_path, 1);
    EXPECT_EQ(openings.relative, 134 - 1 - 52) << "none in the directory that is missing";
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

// As on a kernel before 5.9, for the calling thread. Fails under an emulator of another processor.
bool deny_close_range() {
    sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program = {std::size(rules), rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(AttributeFile, ClosesARangeOnEveryKernel) {
    for (const bool has_close_range : {true, false}) {
        bool is_denied = false;
        std::thread([&] {
            is_denied = !has_close_range && deny_close_range();
            int fds[4];
            std::generate_n(fds, 4, [] { return open("/dev/null", O_RDONLY | O_CLOEXEC); });
            attribute_files.close(nullptr, fds[1], fds[2]);
            for (int i = 0; i < 4; i++) {
                EXPECT_EQ(fcntl(fds[i], F_GETFD) < 0, i == 1 || i == 2) << "file " << i << ", " << has_close_range;
            }
            close(fds[0]);
            close(fds[3]);
        }).join();
        if (!has_close_range && !is_denied) {
            GTEST_SKIP() << "no kernel without close_range here";
        }
    }
}

// What the calls of write() return, in order; as much as they are given after these.
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

TEST(AttributeFile, GoesOnAfterAShortWriteAndRetriesNothing) {
    const struct {
        const char* name;
        std::deque<ssize_t> writes;
        int32_t result;
        const char* content;
    } rows[] = {{"in pieces", {2, 3}, 0, "12345\n"},
                {"nothing is accepted", {0}, -1, ""},
                {"a piece, then nothing", {2, 0}, -1, "12"},
                {"refused", {-1}, -1, ""}};
    for (const auto& row : rows) {
        accepted = row.writes;
        taken.clear();
        EXPECT_EQ(write_text(-1, "12345\n", take_by_script), row.result) << row.name;
        EXPECT_EQ(taken, row.content) << row.name;
    }
}

TEST(SysfsReady, OneLookASecondThirtyAtMost) {
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

// The stand-in libraries replace a file as a whole.
#include "bench/device/bench_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/process.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

TEST(BenchFiles, AFileIsReplacedAsAWholeOrNotAtAll) {
    const std::string content = "newer than before";
    const struct {
        const char* name;
        bool (*prepare)(size_t size);  // limits the writes of the child, for a text of that size
        int result;
    } rows[] = {
        {"accepted", [](size_t) { return true; }, 0},
        {"part of the text is accepted, then nothing",
         [](size_t size) {
             const rlimit limit{.rlim_cur = size - 1, .rlim_max = size - 1};
             return signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
         },
         -1},
        {"a write that returns 0", test::accept_nothing_of_writes, -1},
    };
    std::string top = (fs::temp_directory_path() / "cellwarden-files-XXXXXX").string();
    ASSERT_NE(mkdtemp(top.data()), nullptr);
    setenv("CELLWARDEN_BENCH_DIR", top.c_str(), 1);
    fs::create_directory(fs::path(top) / "units");
    BenchPath path;
    ASSERT_EQ(set_bench_path(path, "units", "1"), 0);
    for (const auto& row : rows) {
        ASSERT_EQ(replace_bench_file("units", "1", "old", 3), 0);
        test::in_own_process([&] {
            if (!row.prepare(content.size())) {
                _exit(0);  // an emulator without the filter
            }
            EXPECT_EQ(replace_bench_file("units", "1", content.data(), content.size()), row.result) << row.name;
            char stored[32] = {};
            size_t size = 0;
            EXPECT_EQ(read_bench_file(path, stored, sizeof stored, size), 0) << row.name;
            EXPECT_EQ(std::string(stored, size), row.result == 0 ? content : "old") << row.name;
            EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(top) / "units"), {}), 1) << row.name;
        });
    }
    fs::remove_all(top);
}

}  // namespace
}  // namespace cellwarden::bench

// How the stand-in libraries store what they are given.
#include "bench/device/bench_files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <string>

#include "support/writes.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using test::write_results;

TEST(BenchFiles, AFileIsReplacedAsAWholeOrNotAtAll) {
    const struct {
        const char* name;
        std::deque<ssize_t> writes;
        int result;
        const char* content;
    } rows[] = {
        {"in pieces", {1, 3}, 0, "newer"},
        {"nothing is accepted", {0}, -1, "old"},
        {"a piece, then nothing", {2, 0}, -1, "old"},
        {"refused", {-1}, -1, "old"},
    };
    std::string top = (fs::temp_directory_path() / "cellwarden-files-XXXXXX").string();
    ASSERT_NE(mkdtemp(top.data()), nullptr);
    setenv("CELLWARDEN_BENCH_DIR", top.c_str(), 1);
    fs::create_directory(fs::path(top) / "units");
    BenchPath path;
    ASSERT_EQ(set_bench_path(path, "units", "1"), 0);
    for (const auto& row : rows) {
        ASSERT_EQ(replace_bench_file("units", "1", "old", 3), 0);
        write_results = row.writes;
        EXPECT_EQ(replace_bench_file("units", "1", "newer", 5), row.result) << row.name;
        char content[8] = {};
        size_t size = 0;
        EXPECT_EQ(read_bench_file(path, content, sizeof content, size), 0) << row.name;
        EXPECT_EQ(std::string(content, size), row.content) << row.name;
        EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(top) / "units"), {}), 1) << row.name;
    }
    fs::remove_all(top);
}

}  // namespace
}  // namespace cellwarden::bench

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "support/command.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(ProductionDateFixes, TheGeneratorChecksTheTable) {
    const std::string a(64, 'a');
    const std::string b = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
    const std::string expected = ": expected <64 lower-case hex digits>,<YYMMDD>, found ";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"comments, blank lines, other line ends", "# x\n\n" + a + ",250401\r\n#\n" + b + ",240229", ""},
        {"a digit missing", a + ",250401\n" + b.substr(1) + ",250401\n",
         ":2" + expected + "'" + b.substr(1) + ",250401'"},
        {"upper case", "\n" + std::string(64, 'A') + ",250401",
         ":2" + expected + "'" + std::string(64, 'A') + ",250401'"},
        {"no date", a, ":1" + expected + "'" + a + "'"},
        {"binary", "# \xFF\n\xFF", ":2" + expected + "'\\udcff'"},
        {"31 April", "#\n" + a + ",250431", ":2: 250431 is not a date (YYMMDD)"},
        {"a digest twice", "#\n" + a + ",250401\n" + b + ",250401\n" + a + ",250327\n",
         ":4: duplicate digest, already in line 2"},
    };
    for (const auto& [name, table, error] : rows) {
        SCOPED_TRACE(name);
        empty_sysfs();
        write_file("/sys/table.csv", table);
        const CommandResult result = run_command(PYTHON " " MAKE_FIXES " /sys/table.csv /sys/made.cpp");
        EXPECT_EQ(result.output, error.empty() ? "" : "production-date fixes: /sys/table.csv" + error + "\n");
        EXPECT_EQ(result.exit_code, error.empty() ? 0 : 1);
        EXPECT_EQ(read_file("/sys/made.cpp") == "(no file)", !error.empty());
    }
}

}  // namespace
}  // namespace cellwarden

// A test that runs programs in its own directory.
#pragma once

#include <gmock/gmock.h>

#include "support/command.h"
#include "support/folder.h"
#include "support/hex.h"
#include "support/record.h"
#include "support/rows.h"

namespace cellwarden::test {

class ToolTest : public FolderTest {
  protected:
    // The expected text in a file of this folder, and the rows of a table there.
    [[nodiscard]] static std::string expected(const std::string& name) { return text_of_file(TOOLS_TESTS "/" + name); }
    [[nodiscard]] static std::vector<Row> table(const std::string& name) { return values_of(TOOLS_TESTS "/" + name); }
    CommandResult run(const std::string& command) const { return run_command("cd " + top.string() + " && " + command); }

    // Runs the program with each of its rows in refusals.csv: it ends with 2 and says why.
    void expect_refusals(const std::string& program, const std::string& command) const {
        for (const Row& row : table("refusals.csv")) {
            if (row.at(0) == program) {
                const CommandResult refused = run(command + " " + row.at(1));
                EXPECT_EQ(refused.exit_code, 2) << row.at(1);
                EXPECT_THAT(refused.output, testing::HasSubstr(row.at(2))) << row.at(1);
            }
        }
    }
};

inline std::string bytes_of(const BattStat& stat) {
    return {reinterpret_cast<const char*>(&stat), sizeof stat};
}

// A fresh record with the given elements: "online_time=60 fcc_mah[0]=4810".
inline BattStat record_with(const std::string& elements) {
    BattStat stat;
    reset_batt_stat(stat);
    apply_changes(stat, elements);
    return stat;
}

}  // namespace cellwarden::test

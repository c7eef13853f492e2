// The real daemon on the bench: real uevents, real attribute files, real clocks.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "state/batt_stat.h"
#include "support/folder.h"
#include "support/rows.h"

namespace cellwarden::bench {
namespace {

using nlohmann::json;

struct BenchRun {
    int exit_code = -1;
    std::vector<json> lines;

    [[nodiscard]] const json& summary() const { return lines.back(); }

    // Lines of one kind, in order; where a key is given, those that have that value there.
    [[nodiscard]] std::vector<json> all(const std::string& what, const char* key = "what",
                                        const std::string& value = "") const {
        std::vector<json> found;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), [&](const json& line) {
            return line.at("what") == what && (value.empty() || line.at(key) == value);
        });
        return found;
    }

    // What the daemon last wrote to an attribute; empty where it wrote nothing.
    [[nodiscard]] std::string written(const std::string& attribute) const {
        const auto writes = all("write", "attribute", attribute);
        return writes.empty() ? "" : writes.back().at("new");
    }
};

class EndToEnd : public test::FolderTest {
  protected:
    static json scenario_of(const std::string& file) { return json::parse(test::text_of_file(BENCH_TESTS "/" + file)); }

    // Runs to the scenario's end, or presses Ctrl-C once the record has been saved that often.
    BenchRun run(const json& scenario, int saves = -1) {
        write("scenario.json", scenario.dump());
        const std::string options =
            " --json --scenario " + top.string() + "/scenario.json --state " + top.string() + "/state";
        FILE* output = popen(("echo $$; exec " BENCH_COMMAND + options).c_str(), "r");
        BenchRun result;
        pid_t bench = -1;
        EXPECT_EQ(fscanf(output, "%d ", &bench), 1);
        char* line = nullptr;
        size_t size = 0;
        while (getline(&line, &size, output) >= 0) {
            const json& last = result.lines.emplace_back(json::parse(line));
            if (last.at("what") == "unit" && last.at("unit") == 2491 && --saves == 0 && bench > 0) {
                kill(bench, SIGINT);
            }
        }
        free(line);
        result.exit_code = WEXITSTATUS(pclose(output));
        return result;
    }

    // A unit of the store, as the latest run left it.
    template <typename T>
    [[nodiscard]] T unit(int number) const {
        const std::string bytes = read("state/units/" + std::to_string(number));
        EXPECT_EQ(bytes.size(), sizeof(T)) << number;
        T content{};
        bytes.copy(reinterpret_cast<char*>(&content), sizeof content);
        return content;
    }
};

TEST_F(EndToEnd, CyclesFollowUeventsAndThePeriod) {
    const BenchRun result = run(scenario_of("four_cycles.json"));
    ASSERT_EQ(result.exit_code, 0);
    EXPECT_TRUE(result.summary().at("daemon_ran"));
    EXPECT_GE(result.all("listens").front().at("at_s"), 2.5) << "not before the driver is there";
    EXPECT_EQ(result.summary().at("units").at("2491"), 1) << "the phone has been up for a day, asleep included";

    // Plug and unplug bring two uevents each that concern the daemon; the other two do not.
    EXPECT_EQ(result.summary().at("uevents"), 6);
    EXPECT_EQ(result.summary().at("full_cycles"), 4);

    // The period ends once, after the four full cycles, and forwards the board's temperature: the
    // battery's, and 3 °C and 2 °C more. The battery warms a little.
    EXPECT_EQ(result.summary().at("light_cycles"), 1);
    EXPECT_EQ(result.all("cycle").back().at("kind"), "light");
    const int decidegrees = std::stoi("0" + result.written("battchg_ext/sdm_therm"));
    EXPECT_GE(decidegrees, 350);
    EXPECT_LE(decidegrees, 370);
}

TEST_F(EndToEnd, AHundredDaysOfUse) {
    const BenchRun result = run(scenario_of("hundred_days.json"));
    ASSERT_EQ(result.exit_code, 0);

    for (const test::Row& row : test::values_of(BENCH_TESTS "/hundred_days_writes.csv")) {
        EXPECT_EQ(result.written(row.at(0)), row.at(1)) << row.at(0);
    }
    EXPECT_EQ(result.all("status").back().at("level"), 1);  // the charger obeys

    EXPECT_FALSE(result.all("log", "text", "cellwarden: Sending ondra event for BatteryDegradation2").empty());
    // The level that is at its highest is reported while the charger is there, and its removal.
    const auto connections = result.all("event", "name", "ChargerInsertionRemoval");
    ASSERT_EQ(connections.size(), 2U);
    const json& kept = connections[0].at("fields");
    const json& removed = connections[1].at("fields");
    EXPECT_EQ(kept.at("charger_type"), "PD");
    EXPECT_EQ(kept.at("inserted_soc"), 40);
    EXPECT_EQ(kept.at("removal_soc"), 0);
    EXPECT_EQ(removed.at("removal_soc"), result.all("status").back().at("soc_percent"));

    // Two episodes are counted: a report during a connection starts its record anew.
    const auto summaries = result.all("event", "name", "BatteryDegradation2");
    ASSERT_EQ(summaries.size(), 1U);
    const json& summary = summaries[0].at("fields");
    EXPECT_EQ(summary.at("version"), "5.2.4");
    EXPECT_GE(summary.at("online_time"), 8640000);
    EXPECT_EQ(summary.at("min_temp"), -123);
    EXPECT_EQ(summary.at("usb_connector_heat_count"), 4);
    EXPECT_EQ(unit<uint8_t>(2319), 4);
    EXPECT_EQ(unit<uint32_t>(2804), 120U);
    EXPECT_EQ(std::to_string(unit<uint16_t>(2805)), result.written("battery/state_of_health"));
    EXPECT_GE(result.summary().at("units").at("2491"), 2);  // after a day, and at the shutdown
}

TEST_F(EndToEnd, ARestartGoesOnWithWhatWasSaved) {
    json scenario = scenario_of("hundred_days.json");
    scenario["duration_s"] = 3.5;
    scenario["timeline"] = json::parse(R"([
        {"at_s": 0.2, "attribute": {"name": "battchg_ext/learning_counter", "text": "1"}},
        {"at_s": 0.3, "plug": {"type": "PD", "watts": 27}},
        {"at_s": 1.5, "shutdown_phase": 4}])");
    ASSERT_EQ(run(scenario).exit_code, 0);
    const auto saved = unit<BattStat>(2491);
    EXPECT_EQ(saved.fcc_mah[0], 4500);  // learned from the phone
    EXPECT_EQ(saved.fcc_mah[1], 4810);

    // The scenario's own record is left aside.
    scenario["units"]["2491"]["record"]["online_time"] = 5;
    scenario["properties"]["ro.product.vendor.model"] = "PVX_cdb";
    scenario["duration_s"] = 600;
    const BenchRun second = run(scenario, 4);
    ASSERT_EQ(second.exit_code, 0);
    EXPECT_EQ(second.summary().at("reason"), "Interrupt");
    EXPECT_TRUE(second.all("event").empty()) << "not on this model";
    EXPECT_EQ(second.written("battchg_ext/restored_capacity"), "4500");
    EXPECT_EQ(second.written("battchg_ext/batt_aging_level"), "1");
    const auto later = unit<BattStat>(2491);
    EXPECT_GT(later.online_time, saved.online_time);
    EXPECT_LT(later.online_time, saved.online_time + 60);
    EXPECT_EQ(later.min_temp, saved.min_temp);
}

}  // namespace
}  // namespace cellwarden::bench

// The real daemon on the bench: real uevents, real attribute files, real clocks.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct BenchRun {
    int exit_code = -1;
    std::vector<json> lines;

    [[nodiscard]] const json& summary() const { return lines.back(); }

    // Returns the lines of one kind in order; with a key, only those with that value.
    [[nodiscard]] std::vector<json> all(const std::string& what, const char* key = "what",
                                        const std::string& value = "") const {
        std::vector<json> found;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), [&](const json& line) {
            return line.at("what") == what && (value.empty() || line.at(key) == value);
        });
        return found;
    }

    // Returns the text that the daemon last wrote to an attribute; empty if it wrote none.
    [[nodiscard]] std::string written(const std::string& attribute) const {
        const auto writes = all("write", "attribute", attribute);
        return writes.empty() ? "" : writes.back().at("new");
    }
};

class EndToEnd : public testing::Test {
  protected:
    void SetUp() override {
        std::string path = (fs::temp_directory_path() / "cellwarden-e2e-XXXXXX").string();
        ASSERT_NE(mkdtemp(path.data()), nullptr);
        folder = path;
    }
    void TearDown() override { fs::remove_all(folder); }

    // Runs to the scenario's end, or sends the signal of Ctrl-C after that many saves of the record.
    BenchRun run(const json& scenario, int saves = -1) {
        std::ofstream(folder / "scenario.json") << scenario;
        const std::string options =
            " --json --scenario " + folder.string() + "/scenario.json --state " + folder.string() + "/state";
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

    // Returns a unit of the store after the latest run.
    template <typename T>
    [[nodiscard]] T unit(int number) const {
        const fs::path file = folder / "state" / "units" / std::to_string(number);
        EXPECT_EQ(fs::file_size(file), sizeof(T)) << file;
        T content{};
        std::ifstream(file, std::ios::binary).read(reinterpret_cast<char*>(&content), sizeof content);
        return content;
    }

    fs::path folder;
};

TEST_F(EndToEnd, CyclesFollowUeventsAndThePeriod) {
    const json scenario = json::parse(R"({
        "duration_s": 15, "speed": 10, "uptime_s": 86500,
        "driver_ready_s": 2.5, "battery_uevent_s": 0,
        "phone": {"soc_percent": 50, "battery_temp_c": 30, "ambient_c": 30, "load_ma": 500,
                  "thermal_zone": 12},
        "units": {"2802": {"text": "250401"}, "2803": {"i32": 1743465600}},
        "properties": {"ro.product.vendor.model": "PVX-40"},
        "timeline": [
            {"at_s": 0.5, "uevent": {"subsystem": "power_supply", "name": "usb_pd"}},
            {"at_s": 1, "uevent": {"subsystem": "thermal", "name": "battery"}},
            {"at_s": 2, "plug": {"type": "PD", "watts": 27}}, {"at_s": 4, "unplug": true}]})");
    const BenchRun result = run(scenario);
    ASSERT_EQ(result.exit_code, 0);
    EXPECT_TRUE(result.summary().at("daemon_ran"));
    EXPECT_GE(result.all("listens").front().at("at_s"), 2.5) << "not before the driver is ready";
    EXPECT_EQ(result.summary().at("units").at("2491"), 1) << "the phone has been up for a day, including suspend";

    // Plug and unplug send two uevents each that start a cycle; the other two start none.
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

// Three seconds before a hundred days of use are complete, on a phone that has been up for a day.
constexpr const char* LIFE = R"({
    "duration_s": 7, "speed": 20, "uptime_s": 90000, "battery_uevent_s": 1,
    "phone": {"soc_percent": 40, "state_of_health_percent": 90},
    "units": {
        "2319": {"u8": 2}, "2802": {"text": "250401"}, "2803": {"i32": 1743552000},
        "2491": {"record": {"online_time": 8639997, "total_cycle_count": 1203000,
                            "fcc_mah": [4810], "latest_user_soh": 48600,
                            "latest_filtered_soh": 48600, "min_temp": -123}}},
    "properties": {"ro.product.vendor.model": "PVX-40"},
    "timeline": [
        {"at_s": 0.3, "plug": {"type": "PD", "watts": 27}}, {"at_s": 0.8, "thermal_level": 15},
        {"at_s": 4.5, "unplug": true}, {"at_s": 5, "shutdown_phase": 4}]})";

TEST_F(EndToEnd, AHundredDaysOfUse) {
    const BenchRun result = run(json::parse(LIFE));
    ASSERT_EQ(result.exit_code, 0);

    EXPECT_EQ(result.written("battchg_ext/restored_capacity"), "4810");
    EXPECT_EQ(result.written("battchg_ext/batt_aging_level"), "1");
    EXPECT_EQ(result.written("battery/manufacturing_date"), "1743465600");
    EXPECT_EQ(result.written("battery/first_usage_date"), "1743552000");
    EXPECT_EQ(result.written("battery/cycle_count"), "120");
    EXPECT_EQ(result.all("status").back().at("level"), 1);  // the charger uses the level

    EXPECT_FALSE(result.all("log", "text", "cellwarden: Sending ondra event for BatteryDegradation2").empty());
    // The highest thermal level is reported while the charger is connected, and so is the removal.
    const auto connections = result.all("event", "name", "ChargerInsertionRemoval");
    ASSERT_EQ(connections.size(), 2U);
    const json& kept = connections[0].at("fields");
    const json& removed = connections[1].at("fields");
    EXPECT_EQ(kept.at("charger_type"), "PD");
    EXPECT_EQ(kept.at("inserted_soc"), 40);
    EXPECT_EQ(kept.at("removal_soc"), 0);
    EXPECT_EQ(removed.at("removal_soc"), result.all("status").back().at("soc_percent"));

    // Two episodes are counted, because a report during a connection clears its record.
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

TEST_F(EndToEnd, ARestartContinuesFromTheSavedData) {
    json scenario = json::parse(LIFE);
    scenario["duration_s"] = 3.5;
    scenario["timeline"] = json::parse(R"([
        {"at_s": 0.2, "attribute": {"name": "battchg_ext/learning_counter", "text": "1"}},
        {"at_s": 0.3, "plug": {"type": "PD", "watts": 27}},
        {"at_s": 1.5, "shutdown_phase": 4}])");
    ASSERT_EQ(run(scenario).exit_code, 0);
    const auto saved = unit<BattStat>(2491);
    EXPECT_EQ(saved.fcc_mah[0], 4500);  // learned from the phone
    EXPECT_EQ(saved.fcc_mah[1], 4810);

    // The run does not use the scenario's own record.
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

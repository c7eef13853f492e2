// The real daemon on the bench: real uevents, real attribute files, real clocks.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "stats/batt_stat.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct BenchRun {
    int exit_code = -1;
    std::vector<json> lines;

    [[nodiscard]] json summary() const { return lines.empty() ? json::object() : lines.back(); }

    // What the daemon last wrote to an attribute; empty where it wrote nothing.
    [[nodiscard]] std::string written(const std::string& attribute) const {
        std::string text;
        for (const json& line : all("write")) {
            text = line.at("attribute") == attribute ? line.at("new").get<std::string>() : text;
        }
        return text;
    }

    // The decoded events of that name, in order.
    [[nodiscard]] std::vector<json> events(const std::string& name) const {
        std::vector<json> found;
        for (const json& line : all("event")) {
            if (line.at("name") == name) {
                found.push_back(line.at("fields"));
            }
        }
        return found;
    }

    // Lines of one kind, in order.
    [[nodiscard]] std::vector<json> all(const std::string& what) const {
        std::vector<json> found;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                     [&what](const json& line) { return line.at("what") == what; });
        return found;
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

    BenchRun run(const json& scenario) {
        const fs::path file = folder / "scenario.json";
        std::ofstream(file) << scenario;
        const std::string command =
            BENCH_COMMAND " --json --scenario " + file.string() + " --state " + (folder / "state").string();
        BenchRun result;
        FILE* output = popen(command.c_str(), "r");
        if (output == nullptr) {
            return result;
        }
        char* line = nullptr;
        size_t size = 0;
        while (getline(&line, &size, output) >= 0) {
            result.lines.push_back(json::parse(line));
        }
        free(line);
        result.exit_code = WEXITSTATUS(pclose(output));
        return result;
    }

    // A unit of the store, as the latest run left it.
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
        "duration_s": 15, "speed": 10, "uptime_s": 5000,
        "driver_ready_s": 2.5, "battery_uevent_s": 0,
        "phone": {"soc_percent": 50, "battery_temp_c": 30, "ambient_c": 30, "load_ma": 500,
                  "thermal_zone": 12},
        "units": {"2802": {"text": "250401"}, "2803": {"i32": 1743465600}},
        "properties": {"ro.product.vendor.model": "PVX-40"},
        "timeline": [
            {"at_s": 0.5, "uevent": {"subsystem": "power_supply", "name": "usb_pd"}},
            {"at_s": 1, "uevent": {"subsystem": "thermal", "name": "battery"}},
            {"at_s": 2, "plug": {"type": "PD", "watts": 27}},
            {"at_s": 4, "unplug": true}
        ]})");
    const BenchRun result = run(scenario);
    ASSERT_EQ(result.exit_code, 0);
    ASSERT_EQ(result.summary().at("what"), "summary");
    EXPECT_TRUE(result.summary().at("daemon_ran"));

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

// Three seconds before a hundred days of use are complete, on a phone that has been up for a day.
constexpr const char* LIFE = R"({
    "duration_s": 7, "speed": 20, "uptime_s": 90000, "battery_uevent_s": 1,
    "phone": {"soc_percent": 40, "state_of_health_percent": 90},
    "units": {
        "2319": {"u8": 2}, "2802": {"text": "250401"}, "2803": {"i32": 1743552000},
        "2491": {"record": {"online_time": 8639997, "total_cycle_count": 1203000,
                            "fcc_mah": [4810], "latest_user_soh": 48600,
                            "latest_filtered_soh": 48600, "dev_attach_count": [7],
                            "min_temp": -123}}},
    "properties": {"ro.product.vendor.model": "PVX-40"},
    "timeline": [
        {"at_s": 0.3, "plug": {"type": "PD", "watts": 27}},
        {"at_s": 0.8, "thermal_level": 15},
        {"at_s": 4.5, "unplug": true},
        {"at_s": 5, "shutdown_phase": 4}
    ]})";

TEST_F(EndToEnd, AHundredDaysOfUse) {
    const BenchRun result = run(json::parse(LIFE));
    ASSERT_EQ(result.exit_code, 0);

    const struct {
        const char* attribute;
        const char* text;
    } writes[] = {
        {"battchg_ext/restored_capacity", "4810"},
        {"battchg_ext/batt_aging_level", "1"},
        {"battery/manufacturing_date", "1743465600"},
        {"battery/first_usage_date", "1743552000"},
        {"battery/cycle_count", "120"},
    };
    for (const auto& row : writes) {
        EXPECT_EQ(result.written(row.attribute), row.text) << row.attribute;
    }
    EXPECT_EQ(result.all("status").back().at("level"), 1);  // the charger obeys

    // The level that is at its highest is reported while the charger is there, and its removal.
    const auto connections = result.events("ChargerInsertionRemoval");
    ASSERT_EQ(connections.size(), 2U);
    EXPECT_EQ(connections[0].at("charger_type"), "PD");
    EXPECT_EQ(connections[0].at("inserted_soc"), 40);
    EXPECT_EQ(connections[0].at("removal_soc"), 0);
    EXPECT_EQ(connections[1].at("removal_soc"), result.all("status").back().at("soc_percent"));
    EXPECT_EQ(connections[1].at("removal_sc_stage"), 1);

    // Two episodes are counted: a report during a connection starts its record anew.
    const auto summaries = result.events("BatteryDegradation2");
    ASSERT_EQ(summaries.size(), 1U);
    EXPECT_EQ(summaries[0].at("version"), "5.2.4");
    EXPECT_GE(summaries[0].at("online_time"), 8640000);
    EXPECT_EQ(summaries[0].at("dev_attach_count")[0], 7);
    EXPECT_EQ(summaries[0].at("min_temp"), -123);
    EXPECT_EQ(summaries[0].at("vt_cet_table").size(), 672U);
    EXPECT_EQ(summaries[0].at("usb_connector_heat_count"), 4);
    EXPECT_EQ(unit<uint8_t>(2319), 4);
    EXPECT_EQ(unit<uint32_t>(2804), 120U);
    EXPECT_EQ(std::to_string(unit<uint16_t>(2805)), result.written("battery/state_of_health"));
    EXPECT_GE(result.summary().at("units").at("2491"), 2);  // after a day, and at the shutdown
}

TEST_F(EndToEnd, ARestartGoesOnWithWhatWasSaved) {
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

    // The scenario's own record is left aside.
    scenario["units"]["2491"]["record"]["online_time"] = 5;
    const BenchRun second = run(scenario);
    ASSERT_EQ(second.exit_code, 0);
    EXPECT_EQ(second.written("battchg_ext/restored_capacity"), "4500");
    EXPECT_EQ(second.written("battchg_ext/batt_aging_level"), "1");
    const auto later = unit<BattStat>(2491);
    EXPECT_GT(later.online_time, saved.online_time);
    EXPECT_LT(later.online_time, saved.online_time + 60);
    EXPECT_EQ(later.min_temp, saved.min_temp);
}

}  // namespace
}  // namespace cellwarden::bench

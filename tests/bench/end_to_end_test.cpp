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

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct BenchRun {
    int exit_code = -1;
    std::vector<json> lines;

    [[nodiscard]] json summary() const { return lines.empty() ? json::object() : lines.back(); }

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

    // Runs the bench with a scenario; `before` is put before the command, `after` behind it.
    BenchRun run(const json& scenario, const std::string& before = "",
                 const std::string& after = "") {
        const fs::path file = folder / "scenario.json";
        std::ofstream(file) << scenario;
        const std::string command = before + " " BENCH_COMMAND " --json --scenario " +
                                    file.string() + " --state " + (folder / "state").string() +
                                    " " + after;
        BenchRun result;
        FILE* output = popen(command.c_str(), "r");
        if (output == nullptr) {
            return result;
        }
        char line[4096];
        while (fgets(line, sizeof line, output) != nullptr) {
            result.lines.push_back(json::parse(line));
        }
        result.exit_code = WEXITSTATUS(pclose(output));
        return result;
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

    // The start waits for the driver, and then a second more.
    const auto listens = result.all("listens");
    ASSERT_EQ(listens.size(), 1U);
    EXPECT_GE(listens[0].at("at_s").get<double>(), 2.5);

    // Plug and unplug bring two uevents each that concern the daemon; the other two do not.
    EXPECT_EQ(result.summary().at("uevents"), 6);
    EXPECT_EQ(result.summary().at("full_cycles"), 4);
    const auto plugged = std::find_if(
        result.lines.begin(), result.lines.end(),
        [](const json& line) { return line.at("what") == "uevent" && line.at("name") == "usb"; });
    EXPECT_TRUE(std::none_of(result.lines.begin(), plugged,
                             [](const json& line) { return line.at("what") == "cycle"; }));

    // The period ends once, after the four full cycles, and forwards the board's temperature: the
    // battery's, and 3 °C and 2 °C more. The battery warms a little.
    EXPECT_EQ(result.summary().at("light_cycles"), 1);
    EXPECT_EQ(result.all("cycle").back().at("kind"), "light");
    const auto writes = result.all("write");
    const auto forwarded = std::find_if(writes.begin(), writes.end(), [](const json& line) {
        return line.at("attribute") == "battchg_ext/sdm_therm";
    });
    ASSERT_NE(forwarded, writes.end());
    EXPECT_EQ(forwarded->at("old"), "0");
    const int decidegrees = std::stoi(forwarded->at("new").get<std::string>());
    EXPECT_GE(decidegrees, 350);
    EXPECT_LE(decidegrees, 370);

    for (const json& line : result.all("log")) {
        EXPECT_EQ(line.at("text").get<std::string>().find("Unable"), std::string::npos) << line;
    }
}

TEST_F(EndToEnd, CtrlCEndsEverythingWithTheSummary) {
    const BenchRun result = run({{"duration_s", 600}}, "timeout --preserve-status -s INT 3");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.summary().at("reason"), "Interrupt");
    EXPECT_TRUE(result.summary().at("daemon_ran"));
}

TEST_F(EndToEnd, ADaemonThatEndsIsToldOf) {
    const BenchRun result = run({{"duration_s", 600}}, "", "--run-with false");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.summary().at("reason"), "the daemon ended by itself with code 1");
}

}  // namespace
}  // namespace cellwarden::bench

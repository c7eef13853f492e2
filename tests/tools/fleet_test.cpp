// The commands of docs/fleet.md do what the page says.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "program.h"
#include "telemetry/charging.pb-c.h"

namespace {

using namespace cellwarden::test;

// The shell commands of a page, in their order.
std::string commands_of(const std::string& page) {
    std::ifstream stream(page);
    std::ostringstream commands;
    bool inside = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("```")) {
            inside = line == "```sh";
        } else if (inside) {
            commands << line << '\n';
        }
    }
    return commands.str();
}

std::string ageing_event(uint32_t online_s, uint32_t user_soh, std::vector<uint32_t> filtered) {
    Charging__BatteryDegradation2 message = CHARGING__BATTERY_DEGRADATION2__INIT;
    message.has_online_time = message.has_soft_charge_mode = message.has_latest_user_soh = 1;
    message.has_total_cycle_count = 1;
    message.online_time = online_s;
    message.soft_charge_mode = 2;
    message.latest_user_soh = user_soh;
    message.total_cycle_count = 1'234'567;
    message.n_filtered_soh_per_10days = filtered.size();
    message.filtered_soh_per_10days = filtered.data();
    std::string bytes(charging__battery_degradation2__get_packed_size(&message), '\0');
    charging__battery_degradation2__pack(&message, reinterpret_cast<uint8_t*>(bytes.data()));
    return bytes;
}

std::string charger_event(uint32_t seconds, uint32_t inserted, uint32_t removed) {
    std::string type = "PD";
    Charging__ChargerInsertionRemoval message = CHARGING__CHARGER_INSERTION_REMOVAL__INIT;
    message.charger_type = type.data();
    message.has_usb_insertion_time = message.has_inserted_soc = message.has_removal_soc = 1;
    message.usb_insertion_time = seconds;
    message.inserted_soc = inserted;
    message.removal_soc = removed;
    std::string bytes(charging__charger_insertion_removal__get_packed_size(&message), '\0');
    charging__charger_insertion_removal__pack(&message, reinterpret_cast<uint8_t*>(bytes.data()));
    return bytes;
}

TEST(Fleet, the_worked_example_runs) {
    const TestDirectory directory;
    const std::string ageing = "-0001-charging-BatteryDegradation2";
    const std::string charger = "-0002-charging-ChargerInsertionRemoval";
    directory.write("outboxes/phone-a/20260101T000000Z" + ageing, ageing_event(864'000, 50'000, {50'000}));
    directory.write("outboxes/phone-a/20270101T000000Z" + ageing, ageing_event(1'728'000, 44'000, {45'000, 44'999, 0}));
    directory.write("outboxes/phone-b/20260601T000000Z" + ageing, ageing_event(864'000, 49'000, {49'000}));
    directory.write("outboxes/phone-a/20260102T000000Z" + charger, charger_event(3600, 20, 80));
    directory.write("outboxes/phone-b/20260102T000000Z" + charger, charger_event(1800, 30, 50));
    // The name on the page, whatever runs the program here.
    directory.write("bin/cellwarden-inspect", "#!/bin/sh\nexec " + command(INSPECT) + "\"$@\"\n");
    std::filesystem::permissions(directory.path("bin/cellwarden-inspect"), std::filesystem::perms::owner_all);
    directory.write("commands", commands_of(FLEET_PAGE));
    const Outcome outcome = run_line("cd " + directory.path("") + " && PATH=$PWD/bin:$PATH sh -e commands");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output,
              "phone    time                  online_days  level  user_soh  full_charges\n"
              "-------  --------------------  -----------  -----  --------  ------------\n"
              "phone-a  2027-01-01T00:00:00Z  20           2      88.0      123.5       \n"
              "phone-b  2026-06-01T00:00:00Z  10           2      98.0      123.5       \n"
              "charger  connections  minutes  gained_percent\n"
              "-------  -----------  -------  --------------\n"
              "PD       2            45.0     40.0          \n"
              "phone    day\n"
              "-------  ---\n"
              "phone-a  10 \n");
}

}  // namespace

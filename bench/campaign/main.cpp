// cellwarden-campaign: tests the daemon with failing devices, kills, and long runs.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "bench/campaign/campaign.h"
#include "bench/state_dir.h"
#include "common/command_line.h"
#include "common/text.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* FOOTER =
    "Exit codes:\n"
    "  0   no errors were found\n"
    "  1   errors were found\n"
    "  2   wrong usage, or the campaign could not run";

struct Options {
    bool faults = false;
    bool brief = false;
    int kills = 0;
    int soak = 0;
    int pause_ms = 0;
    uint32_t seed = 1;
};

int run(const Options& options) {
    if (!options.faults && options.kills <= 0 && options.soak <= 0) {
        throw std::runtime_error("no campaign selected: use --faults, --kills or --soak");
    }
    const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
    Stage stage;
    stage.scenario = load_scenario(CELLWARDEN_HISTORY);
    enter_sandbox();
    stage.state_dir = make_temporary_state_dir();
    prepare_state_dir(stage.state_dir, stage.scenario);
    stage.daemon = {{folder / "cellwarden"}, folder / "device", stage.state_dir};
    int wrong = 0;
    if (options.soak > 0) {
        wrong += run_soak(stage, options.soak, options.pause_ms);
    }
    // Affects the daemons that are started from here on.
    setenv("LD_PRELOAD", (folder / "cellwarden_bench_clock.so").c_str(), 1);
    if (options.faults) {
        wrong += run_fault_campaign(stage, options.brief);
    }
    if (options.kills > 0) {
        wrong += run_kill_campaign(stage, options.kills, options.seed);
    }
    fs::remove_all(stage.state_dir);
    printf("%s\n", wrong == 0 ? "no errors" : "ERRORS, see above");
    return wrong == 0 ? 0 : 1;
}

}  // namespace
}  // namespace cellwarden::bench

int main(int argc, char** argv) {
    using namespace cellwarden::bench;
    try {
        cellwarden::CommandLine line(
            {CELLWARDEN_TOOL_NAME, CELLWARDEN_TOOL_ABOUT, CELLWARDEN_TOOL_VERSION, FOOTER});
        Options options;
        line.add_flag("--faults", options.faults,
                      "Make device calls and attributes fail, one at a time");
        line.add_flag("--brief", options.brief,
                      "With --faults: only the first call of each kind and every 32nd attribute");
        line.add("--kills", options.kills,
                 "Kill the daemon N times while it saves, and restart it each time");
        line.add("--seed", options.seed, "Seed of the random moments of the kills").show_default();
        line.add("--soak", options.soak,
                 "Send N battery uevents, then N uevents of other subsystems, and check that "
                 "memory and descriptors do not grow");
        line.add("--pause-ms", options.pause_ms,
                 "With --soak: milliseconds to wait before each battery uevent");
        const int done = line.parse(argc, argv);
        if (done >= 0) {
            return done;
        }
        return run(options);
    } catch (const std::exception& error) {
        cellwarden::complain(CELLWARDEN_TOOL_NAME, error.what());
        return 2;
    }
}

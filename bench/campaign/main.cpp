// cellwarden-campaign: what the daemon does when the phone fails it, when it is killed, and when it
// runs long.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "bench/campaign/campaign.h"
#include "bench/state_dir.h"
#include "common/command_line.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* FOOTER =
    "Exit codes:\n"
    "  0   nothing was wrong\n"
    "  1   something was\n"
    "  2   wrong usage, or it could not run";

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
        throw std::runtime_error("nothing to do: say --faults, --kills or --soak");
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
    // Only the daemons that are started from here on.
    setenv("LD_PRELOAD", (folder / "cellwarden_bench_clock.so").c_str(), 1);
    if (options.faults) {
        wrong += run_fault_campaign(stage, options.brief);
    }
    if (options.kills > 0) {
        wrong += run_kill_campaign(stage, options.kills, options.seed);
    }
    fs::remove_all(stage.state_dir);
    printf("%s\n", wrong == 0 ? "nothing wrong" : "WRONG, see above");
    return wrong == 0 ? 0 : 1;
}

}  // namespace
}  // namespace cellwarden::bench

int main(int argc, char** argv) {
    using namespace cellwarden::bench;
    try {
        CLI::App app;
        cellwarden::set_up_command_line(app);
        app.footer(FOOTER);
        Options options;
        app.add_flag("--faults", options.faults, "Let device calls and attributes fail");
        app.add_flag("--brief", options.brief,
                     "Only the first call of each kind, and every 32nd attribute");
        app.add_option("--kills", options.kills, "Kill the daemon so often while it saves");
        app.add_option("--seed", options.seed, "Of the random moments")->capture_default_str();
        app.add_option("--soak", options.soak, "Send so many uevents, and as many foreign ones");
        app.add_option("--pause-ms", options.pause_ms, "Before each uevent of the soak");
        const int done = cellwarden::parse_command_line(app, argc, argv);
        if (done >= 0) {
            return done;
        }
        return run(options);
    } catch (const std::exception& error) {
        std::cerr << "cellwarden-campaign: " << error.what() << '\n';
        return 2;
    }
}

#include "common/installation.h"

#include "common/input.h"

namespace cellwarden {
namespace {

namespace fs = std::filesystem;

fs::path program_folder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

// Returns the build folder that contains this program, or an empty path.
fs::path build_folder() {
    for (fs::path folder = program_folder(); folder != folder.root_path();
         folder = folder.parent_path()) {
        if (fs::exists(folder / "CMakeCache.txt")) {
            return folder;
        }
    }
    return {};
}

}  // namespace

fs::path data_folder(const std::string& name) {
    fs::path installed = (program_folder() / CELLWARDEN_DATA_DIR / name).lexically_normal();
    const fs::path built = build_folder();
    if (fs::is_directory(installed)) {
        return installed;
    }
    if (built.empty()) {
        throw InputError(installed.string() +
                         " does not exist. The data files belong to the installation: move the "
                         "programs only together with them");
    }
    return built / "data" / name;
}

fs::path daemon_folder() {
    fs::path installed = (program_folder() / CELLWARDEN_LIBEXEC_DIR).lexically_normal();
    const fs::path built = build_folder();
    return fs::exists(installed) || built.empty() ? installed : built;
}

}  // namespace cellwarden

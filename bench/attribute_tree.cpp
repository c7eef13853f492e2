#include "bench/attribute_tree.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace cellwarden::bench {

namespace fs = std::filesystem;

namespace {

const fs::path CLASSES = "/sys/class";
const fs::path CHARGER = "devices/platform/soc/soc:pmic_glink/soc:pmic_glink:battery_charger";

// Attributes of a class are in the class's own folder. Attributes of a device are in the device's
// folder, and the class has a link to it.
void create_folder(const fs::path& folder) {
    const fs::path class_folder = folder.parent_path();
    if (class_folder.parent_path() != CLASSES || fs::exists(folder)) {
        fs::create_directories(folder);
        return;
    }
    const fs::path device = CHARGER / class_folder.filename() / folder.filename();
    fs::create_directories("/sys" / device);
    fs::create_directories(class_folder);
    fs::create_directory_symlink("../.." / device, folder);
}

}  // namespace

void set_attribute(AttributeTree& tree, const std::string& path, const std::string& text) {
    const auto known = tree.find(path);
    if (known != tree.end() && known->second == text) {
        return;
    }
    const fs::path target = path;
    const fs::path fresh = target.parent_path() / ("." + target.filename().string());
    create_folder(target.parent_path());
    std::ofstream stream(fresh, std::ios::trunc);
    stream << text << '\n';
    stream.close();
    if (!stream) {
        throw std::runtime_error(fresh.string() + ": cannot be written");
    }
    fs::rename(fresh, target);
    tree[path] = text;
}

std::string take_written_attribute(AttributeTree& tree, const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return std::exchange(tree[path], std::move(text));
}

}  // namespace cellwarden::bench

#include "bench/attribute_tree.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace cellwarden::bench {

namespace fs = std::filesystem;

void set_attribute(AttributeTree& tree, const std::string& path, const std::string& text) {
    const auto known = tree.find(path);
    if (known != tree.end() && known->second == text) {
        return;
    }
    const fs::path target = path;
    const fs::path fresh = target.parent_path() / ("." + target.filename().string());
    fs::create_directories(target.parent_path());
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

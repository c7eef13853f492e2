#include "bench/phone_files.h"

#include <filesystem>

#include "phone/phone_attributes.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* DRIVER_FOLDER = "/sys/class/battchg_ext";

bool belongs_to_driver(const std::string& path) {
    return fs::path(path).parent_path() == DRIVER_FOLDER;
}

void set_texts(PhoneFiles& files, const phone::Phone& phone,
               const std::vector<phone::AttributeFile>& texts) {
    for (const phone::AttributeFile& attribute : texts) {
        const std::string path = attribute_path(phone, attribute.id);
        if (files.held.count(path) == 0 && (files.driver_ready || !belongs_to_driver(path))) {
            set_attribute(files.tree, path, attribute.text);
        }
    }
}

void create_thermal_zones(PhoneFiles& files, const phone::Phone& phone) {
    const std::string zone = "/sys/class/thermal/thermal_zone";
    set_attribute(files.tree, zone + "0/type", "cpu-0-0");
    set_attribute(files.tree, zone + "0/temp", "38000");
    set_attribute(files.tree, zone + "1/type", "battery");
    set_attribute(files.tree, zone + "1/temp", "30000");
    set_attribute(files.tree, zone + std::to_string(phone.thermal_zone) + "/type", "sdm_therm");
}

void watch_phone_folders(const PhoneFiles& files, FolderWatch& watch) {
    std::set<fs::path> folders = {DRIVER_FOLDER, fs::path(WAKE_LOCK_PATH).parent_path()};
    for (const auto& [path, id] : files.ids) {
        folders.insert(fs::path(path).parent_path());
    }
    const fs::path full_cycle_folder = fs::path(FULL_CYCLE_PATH).parent_path();
    for (const fs::path& folder : folders) {
        watch_folder(watch, folder,
                     folder == full_cycle_folder ? FileAction::OPENED : FileAction::WRITTEN);
    }
}

}  // namespace

void create_phone_files(PhoneFiles& files, const phone::Phone& phone, FolderWatch& watch) {
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        const auto param = static_cast<SysfsParamId>(id);
        files.ids.emplace(attribute_path(phone, param), param);
    }
    fs::create_directories(DRIVER_FOLDER);
    set_attribute(files.tree, WAKE_LOCK_PATH, "");
    set_attribute(files.tree, WAKE_UNLOCK_PATH, "");
    create_thermal_zones(files, phone);
    set_texts(files, phone, start_attributes(phone));
    refresh_phone_files(files, phone);
    watch_phone_folders(files, watch);
}

void show_driver_files(PhoneFiles& files, const phone::Phone& phone) {
    files.driver_ready = true;
    set_texts(files, phone, start_attributes(phone));
    refresh_phone_files(files, phone);
}

void refresh_phone_files(PhoneFiles& files, const phone::Phone& phone) {
    set_texts(files, phone, live_attributes(phone));
}

void hold_attribute(PhoneFiles& files, const phone::Phone& phone, const std::string& name,
                    const std::optional<std::string>& text) {
    for (const auto& [path, id] : files.ids) {
        if (phone::attribute_name(path) != name) {
            continue;
        }
        if (text.has_value()) {
            set_attribute(files.tree, path, *text);
            files.held.insert(path);
        } else {
            files.held.erase(path);
        }
    }
    refresh_phone_files(files, phone);
}

std::optional<AttributeWrite> take_attribute_write(PhoneFiles& files, phone::Phone& phone,
                                                   const std::string& path) {
    const auto id = files.ids.find(path);
    if (id == files.ids.end()) {
        return std::nullopt;
    }
    const std::string old_text = take_written_attribute(files.tree, path);
    const std::string& new_text = files.tree[path];
    obey_attribute_write(phone, id->second, new_text);
    return AttributeWrite{std::string(phone::attribute_name(path)), old_text, new_text};
}

}  // namespace cellwarden::bench

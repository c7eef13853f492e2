#include "platform/sysfs_params.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/thermal_zone.h"
#include "product/attribute_texts.h"

namespace cellwarden {
namespace {

// The rows of the enum table for an attribute's texts.
template <const auto& TEXTS>
constexpr auto ENUM_ROWS = [] {
    std::array<SysfsEnumEntry, std::size(TEXTS)> rows;
    std::transform(std::begin(TEXTS), std::end(TEXTS), rows.begin(), [](const AttributeText& row) {
        return SysfsEnumEntry{row.text, {.bits = static_cast<uint32_t>(row.value)}};
    });
    return rows;
}();

template <const auto& TEXTS>
constexpr const SysfsEnumEntry* ENUM_TABLE = ENUM_ROWS<TEXTS>.data();

// Returns the position of the path's last component.
constexpr size_t name_position(std::string_view path) {
    return path.rfind('/') + 1;
}

// Return a row of the table for a fixed or a generated path.
constexpr SysfsParamDesc row(const char* path, SysfsFormat format, const SysfsEnumEntry* table) {
    return {.path_is_generated = 0,
            .path = path,
            .format = format,
            .enum_table = table,
            .name_at = name_position(path)};
}
constexpr SysfsParamDesc row(const char* (*generator)(const Device&), SysfsFormat format,
                             const SysfsEnumEntry* table) {
    return {
        .path_is_generated = 1, .path_generator = generator, .format = format, .enum_table = table};
}

}  // namespace

constexpr SysfsParamDescs SysfsParamTable = {{
#define SYSFS_PARAM(id, name, path, format, table) row(path, FORMAT_##format, table),
#include "product/attributes.inc"
}};

}  // namespace cellwarden

#include "platform/sysfs_params.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/thermal_zone.h"
#include "product/attribute_texts.h"

namespace cellwarden {
namespace {

// The texts of an attribute as the rows of an enum table.
template <const auto& TEXTS>
constexpr auto ENUM_ROWS = [] {
    std::array<SysfsEnumEntry, std::size(TEXTS)> rows;
    std::transform(std::begin(TEXTS), std::end(TEXTS), rows.begin(), [](const AttributeText& row) {
        return SysfsEnumEntry{row.text, {.bits = static_cast<uint32_t>(row.value)}};
    });
    return rows;
}();

constexpr const SysfsEnumEntry* status_table = ENUM_ROWS<STATUS_TEXTS>.data();
constexpr const SysfsEnumEntry* health_table = ENUM_ROWS<HEALTH_TEXTS>.data();
constexpr const SysfsEnumEntry* battery_model_table = ENUM_ROWS<MODEL_TEXTS>.data();
constexpr const SysfsEnumEntry* usb_type_table = ENUM_ROWS<USB_TYPE_TEXTS>.data();
constexpr const SysfsEnumEntry* typec_mode_table = ENUM_ROWS<TYPEC_MODE_TEXTS>.data();

constexpr uint32_t row_ids[] = {
#define SYSFS_FIXED(id, name, path, format, table) (id),
#define SYSFS_GENERATED(id, name, generator, format, table) (id),
#include "product/attributes.inc"
#undef SYSFS_FIXED
#undef SYSFS_GENERATED
};

constexpr bool every_row_stands_at_its_id() {
    if (std::size(row_ids) != SYSFS_PARAM_COUNT) {
        return false;
    }
    for (uint32_t i = 0; i < SYSFS_PARAM_COUNT; i++) {
        if (row_ids[i] != i) {
            return false;
        }
    }
    return true;
}
static_assert(every_row_stands_at_its_id());

// Where the last component of the path begins.
constexpr size_t name_position(std::string_view path) {
    return path.rfind('/') + 1;
}

}  // namespace

constexpr SysfsParamDescs SysfsParamTable = {{
#define SYSFS_FIXED(id, name, fixed_path, text_format, table) \
    {.path_is_generated = 0,                                  \
     .path = (fixed_path),                                    \
     .format = FORMAT_##text_format,                          \
     .enum_table = (table),                                   \
     .name_at = name_position(fixed_path)},
#define SYSFS_GENERATED(id, name, generator, text_format, table) \
    {.path_is_generated = 1,                                     \
     .path_generator = (generator),                              \
     .format = FORMAT_##text_format,                             \
     .enum_table = (table)},
#include "product/attributes.inc"
#undef SYSFS_FIXED
#undef SYSFS_GENERATED
}};

}  // namespace cellwarden

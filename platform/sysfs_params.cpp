#include "platform/sysfs_params.h"

#include <string_view>

#include "platform/thermal_zone.h"

namespace cellwarden {
namespace {

constexpr SysfsEnumEntry row(const char* text, int32_t value) {
    return {.text = text, .value = {.bits = static_cast<uint32_t>(value)}};
}

constexpr SysfsEnumEntry status_table[] = {
    row("Charging", 1),
    row("Full", 2),
    row(nullptr, 0),
};

constexpr SysfsEnumEntry health_table[] = {
    row("Hot", 2),
    row("Warm", 1),
    row(nullptr, 0),
};

constexpr SysfsEnumEntry battery_model_table[] = {
    row("Loading Battery Data", 1), row("VELDIN_4480MV_V2D7", 2), row("KIRO_4480MV_V2D7", 3),
    row("ORWEN_4480MV_V2D7", 4),    row("PELLAMIR_VOSKA", 5),     row(nullptr, 0),
};

constexpr SysfsEnumEntry usb_type_table[] = {
    row("Unknown", 0),    row("SDP", 1),     row("DCP", 2),    row("CDP", 3),
    row("ACA", 4),        row("C", 5),       row("PD", 6),     row("PD_DRP", 7),
    row("PD_PPS", 8),     row("BrickID", 9), row("HVDCP", 10), row("HVDCP_3", 11),
    row("HVDCP_3P5", 12), row(nullptr, 0),
};

constexpr SysfsEnumEntry typec_mode_table[] = {
    row("Nothing source attached", 0),
    row("Type-C source attached (default current)", 1),
    row("Legacy source attached", 2),
    row("PD source attached", 3),
    row("Type-C source attached (medium current)", 4),
    row("Type-C source attached (high current)", 5),
    row("Unknown", 6),
    row(nullptr, 6),
};

constexpr uint32_t row_ids[] = {
#define SYSFS_FIXED(id, name, path, format, table) (id),
#define SYSFS_GENERATED(id, name, generator, format, table) (id),
#include "platform/sysfs_params.inc"
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
#include "platform/sysfs_params.inc"
#undef SYSFS_FIXED
#undef SYSFS_GENERATED
}};

}  // namespace cellwarden

// Attributes whose texts have a meaning: the kernel's text, and the value that the rules use for
// it. The last row has no text; it has the value of every other text.
#pragma once

#include <cstdint>

namespace cellwarden {

struct AttributeText {
    const char* text;
    int32_t value;
};

inline constexpr int32_t STATUS_DISCHARGING = 0;  // discharging, or not charging
inline constexpr int32_t STATUS_CHARGING = 1;
inline constexpr int32_t STATUS_FULL = 2;
inline constexpr AttributeText STATUS_TEXTS[] = {
    {"Charging", STATUS_CHARGING}, {"Full", STATUS_FULL}, {nullptr, STATUS_DISCHARGING}};

inline constexpr int32_t HEALTH_WARM = 1;
inline constexpr AttributeText HEALTH_TEXTS[] = {{"Hot", 2}, {"Warm", HEALTH_WARM}, {nullptr, 0}};

// The daemon keeps statistics of models from FIRST_KNOWN_MODEL on. The figures of policy.h belong
// to one cell, so soft charge serves only SERVED_MODEL.
inline constexpr int32_t FIRST_KNOWN_MODEL = 2;
inline constexpr int32_t SERVED_MODEL = 5;
inline constexpr AttributeText MODEL_TEXTS[] = {
    {"Loading Battery Data", 1}, {"VELDIN_4480MV_V2D7", 2},        {"KIRO_4480MV_V2D7", 3},
    {"ORWEN_4480MV_V2D7", 4},    {"PELLAMIR_VOSKA", SERVED_MODEL}, {nullptr, 0}};
static_assert(SERVED_MODEL >= FIRST_KNOWN_MODEL);

inline constexpr AttributeText USB_TYPE_TEXTS[] = {
    {"Unknown", 0}, {"SDP", 1},      {"DCP", 2},        {"CDP", 3},    {"ACA", 4},
    {"C", 5},       {"PD", 6},       {"PD_DRP", 7},     {"PD_PPS", 8}, {"BrickID", 9},
    {"HVDCP", 10},  {"HVDCP_3", 11}, {"HVDCP_3P5", 12}, {nullptr, 0}};

inline constexpr AttributeText TYPEC_MODE_TEXTS[] = {
    {"Nothing source attached", 0},
    {"Type-C source attached (default current)", 1},
    {"Legacy source attached", 2},
    {"PD source attached", 3},
    {"Type-C source attached (medium current)", 4},
    {"Type-C source attached (high current)", 5},
    {"Unknown", 6},
    {nullptr, 6}};

}  // namespace cellwarden

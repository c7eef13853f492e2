#include <gtest/gtest.h>

#include "stats/update_rows.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(ThermalRanges, AreBookedByThePreviousLevel) {
    const auto level = [](int32_t value) { return std::vector<Given>{{PARAM_SYSTEM_TEMP_LEVEL, value}}; };
    const auto booked = [](int range, int64_t seconds = 60) {
        return "thermal_range_stay_time[" + std::to_string(range) + "]=" + std::to_string(seconds);
    };
    check_updates(update_thermal_ranges,
                  {
                      {"lowest", level(INT32_MIN), level(15), booked(0)},
                      {"0", level(0), level(15), booked(0)},
                      {"1", level(1), level(15), booked(1)},
                      {"12", level(12), level(15), booked(1)},
                      {"13", level(13), level(15), booked(2)},
                      {"14", level(14), level(15), booked(3)},
                      {"15 has no range", level(15), level(0), ""},
                      {"one second", level(0), {}, booked(0, 1), 1},
                      {"the clock stands", level(0), {}, "", 0},
                      {"the clock went back", level(0), {}, "", -60},
                      {"the counter wraps", level(14), {}, booked(3, 59), 60, "thermal_range_stay_time[3]=4294967295"},
                  });
    check_first_calls(update_thermal_ranges, {{"first call", level(1), ""}});
}

}  // namespace
}  // namespace cellwarden

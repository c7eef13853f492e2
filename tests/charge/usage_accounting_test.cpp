#include "charge/soft_charge.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "charge/grid_line.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(Bins, ChangeAboveTheirBorders) {
    const auto expect_border = [](BinBorders borders, int32_t border, size_t bin) {
        EXPECT_EQ(bin_of(borders, border + 1), bin) << border;
        EXPECT_EQ(bin_of(borders, border), bin + 1) << border;
    };
    size_t bin = 0;
    for (int32_t mv = 4540; mv >= 3000; mv -= mv > 4300 ? 10 : mv > 4000 ? 50 : 100) {
        expect_border(POLICY.bins.voltage_uv, mv * 1000, bin++);
    }
    EXPECT_EQ(bin, 41U);
    for (int32_t i = 0; i < 15; i++) {
        expect_border(POLICY.bins.temperature_decic, 600 - 50 * i, static_cast<size_t>(i));
    }
    for (int32_t i = 0; i < 9; i++) {
        expect_border(POLICY.bins.soc, 9000 - 1000 * i, static_cast<size_t>(i));
    }
}

TEST(Grids, BookTimeAndChargeAlongTheLineSinceTheCallBefore) {
    using Cells = std::vector<std::array<uint32_t, 3>>;  // row bin, temperature bin, what is added there
    const struct {
        const char* name;
        int64_t boot_time;
        int32_t temperature_decic, voltage_uv, soc;
        Cells seconds, charge;
    } steps[] = {
        {"first call", 90, 250, 3'910'000, 10'999, {}, {}},
        {"one cell, highest charge", 100, 250, 3'910'000, 11'000, {{31, 8, 10}}, {{0, 8, 1}}},
        {"falling voltage, discharge", 110, 250, 3'890'000, 4950, {{31, 8, 5}, {32, 8, 5}}, {}},
        {"clock stands, charge in two cells", 110, 251, 3'950'000, 5050, {}, {{4, 8, 49}, {5, 8, 51}}},
        {"both fall, no charge", 112, 249, 3'850'000, 5050, {{31, 7, 1}, {32, 8, 1}}, {}},
        {"clock back, invalid charge", 90, 450, 0, 11'001, {}, {}},
        {"invalid charge", 91, 450, 0, -1, {{41, 4, 1}}, {}},
        {"charge since the valid one", 92, 450, 0, 5051, {{41, 4, 1}}, {{4, 8, 1}}},
        {"nothing is read", 93, 0, 0, 0, {{41, 4, 1}}, {}},
    };
    ServiceState state, expected;
    for (const auto& step : steps) {
        state.clock.cycle_boot_time = step.boot_time;
        update_usage_tables(device, state,
                            snapshot_of({{PARAM_BATTERY_TEMP, step.temperature_decic},
                                         {PARAM_BATTERY_VOLTAGE_NOW, step.voltage_uv},
                                         {PARAM_BATT_SOC, step.soc}}),
                            POLICY.bins);
        for (const auto& [row, column, seconds] : step.seconds) {
            expected.usage.vt_cet_table[row * 16 + column] += seconds;
        }
        for (const auto& [row, column, charge] : step.charge) {
            expected.usage.ct_charge_table[row * 16 + column] += charge;
            expected.usage.total_cycle_count += charge;
        }
        EXPECT_EQ(state.usage.vt_cet_table, expected.usage.vt_cet_table) << step.name;
        EXPECT_EQ(state.usage.ct_charge_table, expected.usage.ct_charge_table) << step.name;
        EXPECT_EQ(state.usage.total_cycle_count, expected.usage.total_cycle_count) << step.name;
    }
    EXPECT_EQ(logs(), (Calls{"<3>cellwarden: batt_soc is not valid (11001), ct_charge_table is not updated\n",
                             "<3>cellwarden: batt_soc is not valid (-1), ct_charge_table is not updated\n"}));
}

// --- The line in closed form against its definition, step by step.

size_t bin_at(const GridAxis& axis, int64_t step, int64_t steps) {
    const auto moved = static_cast<__int128>(step) * (int64_t{axis.to} - axis.from) / steps;
    const int64_t reading = axis.from + static_cast<int64_t>(moved);
    size_t bin = 0;
    while (bin < axis.borders.size() && reading <= axis.borders[bin]) {
        bin++;
    }
    return bin;
}

// A line is monotone: a run whose first and last step lie in the cell lies there as a whole. So any
// number of steps can be checked.
TEST(GridLine, BooksRunsOfOneCellForAnyNumberOfSteps) {
    std::mt19937_64 random;
    const auto pick = [&](int64_t low, int64_t high) {
        return std::uniform_int_distribution<int64_t>(low, high)(random);
    };
    // Beside a border, around all of them, or any at all.
    const auto some_reading = [&](BinBorders borders) {
        const int64_t readings[] = {borders[static_cast<size_t>(pick(0, 14))] + pick(-2, 2),
                                    pick(borders.back() - 100, borders.front() + 100), pick(INT32_MIN, INT32_MAX),
                                    INT32_MIN, INT32_MAX};
        return static_cast<int32_t>(readings[pick(0, 7) % 5]);
    };
    for (int line = 0; line < 5000; line++) {
        SCOPED_TRACE(line);
        const GridAxis rows{POLICY.bins.voltage_uv, some_reading(POLICY.bins.voltage_uv),
                            some_reading(POLICY.bins.voltage_uv)};
        const GridAxis columns{POLICY.bins.temperature_decic, some_reading(POLICY.bins.temperature_decic),
                               some_reading(POLICY.bins.temperature_decic)};
        const int64_t steps = pick(-1, INT64_MAX >> pick(0, 62));
        int64_t done = 0;
        book_line(rows, columns, steps, [&](size_t row, size_t column, int64_t count) {
            ASSERT_TRUE(count >= 1 && count <= steps - done);
            for (const int64_t step : {done, done + count - 1}) {
                ASSERT_EQ(row, bin_at(rows, step, steps)) << step << " of " << steps;
                ASSERT_EQ(column, bin_at(columns, step, steps)) << step << " of " << steps;
            }
            done += count;
        });
        ASSERT_EQ(done, std::max<int64_t>(steps, 0));
    }
}

}  // namespace
}  // namespace cellwarden

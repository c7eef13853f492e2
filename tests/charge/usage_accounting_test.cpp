#include "charge/usage_accounting.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>

#include "charge/grid_line.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

// The borders as a battery engineer would list them, apart from the daemon's tables.
std::vector<int32_t> voltage_borders() {
    std::vector<int32_t> borders;
    for (int32_t mv = 4540; mv >= 3000; mv -= mv > 4300 ? 10 : mv > 4000 ? 50 : 100) {
        borders.push_back(mv * 1000);
    }
    return borders;
}

std::vector<int32_t> temperature_borders() {
    std::vector<int32_t> borders;
    for (int32_t decic = 600; decic >= -100; decic -= 50) {
        borders.push_back(decic);
    }
    return borders;
}

TEST(Bins, ChangeAboveTheirBorders) {
    std::vector<int32_t> soc_borders;
    for (int32_t soc = 9000; soc >= 1000; soc -= 1000) {
        soc_borders.push_back(soc);
    }
    const struct {
        const char* name;
        int32_t (*bin)(int32_t);
        std::vector<int32_t> borders;
        size_t count;
    } rows[] = {
        {"voltage", voltage_bin, voltage_borders(), 42},
        {"temperature", temperature_bin, temperature_borders(), 16},
        {"state of charge", soc_bin, soc_borders, 10},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(row.borders.size() + 1, row.count) << row.name;
        for (size_t i = 0; i < row.borders.size(); i++) {
            EXPECT_EQ(row.bin(row.borders[i] + 1), i) << row.name << ' ' << row.borders[i];
            EXPECT_EQ(row.bin(row.borders[i]), i + 1) << row.name << ' ' << row.borders[i];
        }
        EXPECT_EQ(row.bin(INT32_MAX), 0) << row.name;
        EXPECT_EQ(row.bin(INT32_MIN), row.count - 1) << row.name;
    }
}

TEST(Soh, IsGaugeOverDesignCapacity) {
    const struct {
        const char* name;
        int32_t charge_full_uah, design_uah, expected;
    } rows[] = {
        {"105 % counts as 100", 5'250'000, 5'000'000, 100'000},
        {"the gauge knows nothing", 0, 5'000'000, -1},
        {"no design capacity", 5'000'000, 0, -1},
        {"negative, the low 32 bits", INT32_MIN, 1, 0},
    };
    for (const auto& row : rows) {
        ServiceState state;
        update_soh(state, snapshot_of({{PARAM_QCOM_CHARGE_FULL, row.charge_full_uah},
                                       {PARAM_BATTERY_CHARGE_FULL_DESIGN, row.design_uah}}));
        EXPECT_EQ(state.soh, row.expected) << row.name;
    }
}

// Cells of a grid: {row bin, temperature bin} to what they hold; empty ones left out.
using Cells = std::map<std::pair<int32_t, int32_t>, uint32_t>;

template <size_t N>
Cells cells_of(const std::array<uint32_t, N>& table) {
    Cells cells;
    for (size_t i = 0; i < N; i++) {
        if (table[i] != 0) {
            cells[{static_cast<int32_t>(i) / 16, static_cast<int32_t>(i) % 16}] = table[i];
        }
    }
    return cells;
}

struct Reading {
    int64_t boot_time;
    int32_t temperature_decic, voltage_uv, soc;
};

void update_at(ServiceState& state, const Reading& reading) {
    state.cycle_boot_time = reading.boot_time;
    update_usage_tables(state, snapshot_of({{PARAM_BATTERY_TEMP, reading.temperature_decic},
                                            {PARAM_BATTERY_VOLTAGE_NOW, reading.voltage_uv},
                                            {PARAM_BATT_SOC, reading.soc}}));
}

TEST(VoltageGrid, BooksTheSecondsAlongTheLine) {
    const struct {
        const char* name;
        std::vector<Reading> readings;
        Cells expected;
    } rows[] = {
        {"first call", {{100, 250, 3'850'000, 0}}, {}},
        {"one cell", {{100, 250, 3'850'000, 0}, {160, 250, 3'850'000, 0}}, {{{32, 8}, 60}}},
        {"falling voltage", {{100, 250, 3'910'000, 0}, {110, 250, 3'890'000, 0}}, {{{31, 8}, 5}, {{32, 8}, 5}}},
        {"two lines in a row",
         {{100, 250, 3'850'000, 0}, {101, 251, 3'950'000, 0}, {103, 249, 3'850'000, 0}},
         {{{31, 7}, 1}, {{32, 8}, 2}}},
        {"clock stood still or went back",
         {{100, 250, 3'850'000, 0}, {100, 450, 3'850'000, 0}, {90, 250, 3'850'000, 0}, {91, 250, 3'850'000, 0}},
         {{{32, 8}, 1}}},
        {"nothing was read", {{100, 0, 0, 0}, {160, 0, 0, 0}}, {{{41, 13}, 60}}},
    };
    for (const auto& row : rows) {
        ServiceState state;
        for (const Reading& reading : row.readings) {
            update_at(state, reading);
        }
        EXPECT_EQ(cells_of(state.vt_cet_table), row.expected) << row.name;
    }
}

TEST(ChargeGrid, BooksTheChargeUnderWhereItStarted) {
    const struct {
        const char* name;
        std::vector<Reading> readings;
        Cells expected;
        uint32_t total;
    } rows[] = {
        {"first call at the start value", {{1, 250, 0, 11'000}}, {}, 0},
        {"one cell", {{1, 250, 0, 5100}, {2, 250, 0, 5200}}, {{{4, 8}, 100}}, 100},
        {"two cells", {{1, 250, 0, 4950}, {2, 250, 0, 5050}}, {{{5, 8}, 51}, {{4, 8}, 49}}, 100},
        {"rising temperature", {{1, 250, 0, 5100}, {2, 350, 0, 5200}}, {{{4, 8}, 1}, {{4, 7}, 50}, {{4, 6}, 49}}, 100},
        {"discharging moves the temperature",
         {{1, 250, 0, 5100}, {2, 450, 0, 5000}, {3, 450, 0, 5002}},
         {{{5, 4}, 1}, {{4, 4}, 1}},
         2},
        {"invalid ones leave the reference",
         {{1, 250, 0, 5100}, {2, 450, 0, 11'001}, {3, 450, 0, -1}, {4, 250, 0, 5101}},
         {{{4, 8}, 1}},
         1},
        {"up to the highest valid one", {{1, 250, 0, 10'999}, {2, 250, 0, 11'000}}, {{{0, 8}, 1}}, 1},
    };
    for (const auto& row : rows) {
        ServiceState state;
        for (const Reading& reading : row.readings) {
            update_at(state, reading);
        }
        EXPECT_EQ(cells_of(state.ct_charge_table), row.expected) << row.name;
        EXPECT_EQ(state.total_cycle_count, row.total) << row.name;
    }
    const std::string invalid = "<3>cellwarden: batt_soc is not valid (";
    const std::string not_updated = "), ct_charge_table is not updated\n";
    EXPECT_EQ(phone.log, (std::vector<std::string>{invalid + "11001" + not_updated, invalid + "-1" + not_updated}));
}

// --- The line in closed form against its definition, step by step.

int64_t reading_at(const GridAxis& axis, int64_t step, int64_t steps) {
    const __int128 moved = static_cast<__int128>(step) * (int64_t{axis.to} - axis.from) / steps;
    return axis.from + static_cast<int64_t>(moved);
}

size_t bin_at(const GridAxis& axis, int64_t step, int64_t steps) {
    size_t bin = 0;
    while (bin < axis.borders.size() && reading_at(axis, step, steps) <= axis.borders[bin]) {
        bin++;
    }
    return bin;
}

// The whole range from the first case on, instead of one that grows from case to case.
template <typename T>
rc::Gen<T> whole_range(const rc::Gen<T>& gen) {
    return rc::gen::resize(rc::kNominalSize, gen);
}

// A reading beside a border, anywhere between the outer ones and a little beyond, or any at all.
int32_t some_reading(const std::vector<int32_t>& borders) {
    const int32_t margin = (borders.front() - borders.back()) / 8;
    const auto beside_border =
        rc::gen::map(rc::gen::pair(rc::gen::elementOf(borders), rc::gen::inRange(-2, 3)),
                     [](const std::pair<int32_t, int>& near) { return near.first + near.second; });
    return *whole_range(rc::gen::oneOf(
        beside_border, beside_border, rc::gen::inRange(borders.back() - margin, borders.front() + margin),
        rc::gen::element(INT32_MIN, INT32_MIN + 1, 0, INT32_MAX), rc::gen::arbitrary<int32_t>()));
}

// A line is monotone: a run whose first and last step lie in the cell lies there as a whole. So any
// number of steps can be checked.
RC_GTEST_PROP(GridLine, BooksRunsOfOneCellForAnyNumberOfSteps, ()) {
    const std::vector<int32_t> voltages = voltage_borders();
    const std::vector<int32_t> temperatures = temperature_borders();
    for (int i = 0; i < 20; i++) {
        const GridAxis rows{voltages, some_reading(voltages), some_reading(voltages)};
        const GridAxis columns{temperatures, some_reading(temperatures), some_reading(temperatures)};
        const int64_t steps = *whole_range(
            rc::gen::oneOf(rc::gen::element<int64_t>(-1, 0, 86'400, INT64_MAX), rc::gen::inRange<int64_t>(1, 10),
                           rc::gen::inRange<int64_t>(10, 1000), rc::gen::inRange<int64_t>(1, 10'000'000'000),
                           rc::gen::map(rc::gen::arbitrary<int64_t>(), [](int64_t any) { return any & INT64_MAX; })));
        int64_t done = 0;
        size_t runs = 0;
        book_line(rows, columns, steps, [&](size_t row, size_t column, int64_t count) {
            RC_ASSERT(count >= 1);
            RC_ASSERT(count <= steps - done);
            for (const int64_t step : {done, done + count - 1}) {
                RC_ASSERT(row == bin_at(rows, step, steps));
                RC_ASSERT(column == bin_at(columns, step, steps));
            }
            done += count;
            runs++;
        });
        RC_ASSERT(done == std::max<int64_t>(steps, 0));
        RC_ASSERT(runs <= voltages.size() + temperatures.size() + 1);
    }
}

}  // namespace
}  // namespace cellwarden

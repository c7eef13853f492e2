// Books the straight line between two readings into a grid of bins, a run of steps at a time.
//
// The line has n steps, k = 0 .. n - 1. On each axis the value of step k is
//     x(k) = from + k * (to - from) / n      (integer division, truncated toward zero),
// so step 0 is the earlier reading, and the later reading starts the next line. The cells and their
// counts equal those of a loop over all steps; the work is one run per crossed border. No product
// overflows for any 32-bit readings and any n up to 2^63 - 1.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace cellwarden {

// Borders of an axis in strictly falling order: bin i contains the values above borders[i] and not
// above borders[i - 1]; the last bin, borders.size(), contains the values above no border.
using BinBorders = std::span<const int32_t>;

constexpr size_t bin_of(BinBorders borders, int32_t value) {
    const auto first_below = std::find_if(borders.begin(), borders.end(),
                                          [=](int32_t border) { return value > border; });
    return static_cast<size_t>(first_below - borders.begin());
}

struct GridAxis {
    BinBorders borders;
    int32_t from;
    int32_t to;
};

// A run of steps whose values are in one bin.
struct GridRun {
    size_t bin;
    int64_t end;  // the first step after the run
};

// Returns the first step whose value differs from the start of the line by `distance` (1 or more),
// for a line that changes by `change` (1 or more) in `steps` steps.
constexpr int64_t step_at_distance(int64_t distance, int64_t change, int64_t steps) {
    if (distance >= change) {
        return steps;
    }
    const auto product = static_cast<unsigned __int128>(distance) * static_cast<uint64_t>(steps);
    const auto divisor = static_cast<uint64_t>(change);
    return static_cast<int64_t>((product + divisor - 1) / divisor);
}

// Returns the run that contains step `step`.
constexpr GridRun grid_run_at(const GridAxis& axis, int64_t step, int64_t steps) {
    const int64_t change = int64_t{axis.to} - axis.from;
    const auto moved = static_cast<int64_t>(static_cast<__int128>(step) * change / steps);
    const size_t bin = bin_of(axis.borders, static_cast<int32_t>(axis.from + moved));
    if (change > 0 && bin > 0) {
        return {bin,
                step_at_distance(int64_t{axis.borders[bin - 1]} + 1 - axis.from, change, steps)};
    }
    if (change < 0 && bin < axis.borders.size()) {
        return {bin, step_at_distance(int64_t{axis.from} - axis.borders[bin], -change, steps)};
    }
    return {bin, steps};
}

// Calls book(row bin, column bin, number of steps) for each run of the line, in order. The sum of
// the numbers is `steps`.
template <typename Book>
constexpr void book_line(const GridAxis& rows, const GridAxis& columns, int64_t steps, Book book) {
    GridRun row{0, 0};
    GridRun column{0, 0};
    for (int64_t step = 0; step < steps;) {
        if (row.end <= step) {
            row = grid_run_at(rows, step, steps);
        }
        if (column.end <= step) {
            column = grid_run_at(columns, step, steps);
        }
        const int64_t end = std::min(row.end, column.end);
        book(row.bin, column.bin, end - step);
        step = end;
    }
}

}  // namespace cellwarden

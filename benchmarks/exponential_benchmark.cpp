// Compares an exponential of the Arrhenius model with the C library's.
#include <random>

#include "benchmarks/figure.h"

namespace cellwarden {
namespace {

constexpr double LIMIT_OVER_C_LIBRARY = 1.0 / 12;
constexpr int ROUNDS = 301;
constexpr size_t ARGUMENTS = 1000;

int run() {
    std::mt19937_64 random(20261123);
    std::vector<extended> arguments;
    for (size_t i = 0; i < ARGUMENTS; i++) {
        arguments.push_back(3 + 62 * (static_cast<extended>(random()) / 0x1p64));
    }
    volatile extended sink = 0;
    const auto evaluate = [&](extended (*function)(extended)) {
        return [&, function] {
            for (const extended x : arguments) {
                sink = function(x);
            }
        };
    };
    const std::vector<double> us = benchmark::median_cpu_us(
        {evaluate(extended_exp), evaluate(benchmark::c_library_exp)}, ROUNDS, 1);
    return benchmark::report_figure("1000 exponentials, CPU; limit 1/12 of the C library's", us[0],
                                    LIMIT_OVER_C_LIBRARY * us[1], "us");
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}

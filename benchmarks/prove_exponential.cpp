// Compares all bits of extended_exp with the MPFR library's exponential rounded to binary128.
//   prove_exponential [COUNT]
// compares COUNT arguments of each kind (default: 10,000,000), and of the cycle model COUNT of its
// 8,006,001 arguments, evenly spread (default: all).
#include <mpfr.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#include "numbers/extended.h"
#include "product/policy.h"

namespace cellwarden {
namespace {

constexpr const ArrheniusConstants& ARRHENIUS = POLICY.arrhenius;

using Bits = unsigned __int128;

constexpr int PRECISION = 113;
constexpr int STORED_BITS = 112;
constexpr int MIN_EXPONENT = -16'382;
constexpr int MAX_EXPONENT = 16'383;

void set(mpfr_t number, extended x) {
    const auto bits = std::bit_cast<Bits>(x);
    const auto exponent = static_cast<int>(bits >> STORED_BITS & 0x7fff);
    const Bits stored = bits & ((Bits{1} << STORED_BITS) - 1);
    const Bits significand = exponent == 0 ? stored : stored | Bits{1} << STORED_BITS;
    mpfr_set_ui(number, static_cast<uint64_t>(significand >> 64), MPFR_RNDN);
    mpfr_mul_2ui(number, number, 64, MPFR_RNDN);
    mpfr_add_ui(number, number, static_cast<uint64_t>(significand), MPFR_RNDN);
    mpfr_mul_2si(number, number, std::max(exponent, 1) - MAX_EXPONENT - STORED_BITS, MPFR_RNDN);
    mpfr_setsign(number, number, bits >> 127 != 0 ? 1 : 0, MPFR_RNDN);
}

// Requires a non-negative number of binary128.
extended get(const mpfr_t number) {
    if (mpfr_inf_p(number) != 0) {
        return std::bit_cast<extended>(Bits{0x7fff} << STORED_BITS);
    }
    if (mpfr_zero_p(number) != 0) {
        return 0;
    }
    mpz_t integer;
    mpz_init(integer);
    const auto exponent = static_cast<int>(mpfr_get_z_2exp(integer, number)) + STORED_BITS;
    const Bits significand = Bits{mpz_getlimbn(integer, 1)} << 64 | mpz_getlimbn(integer, 0);
    mpz_clear(integer);
    const auto stored_exponent =
        static_cast<unsigned>(std::max(exponent, MIN_EXPONENT) - MIN_EXPONENT);
    return std::bit_cast<extended>((Bits{stored_exponent} << STORED_BITS) +
                                   (significand >> std::max(MIN_EXPONENT - exponent, 0)));
}

extended reference_exp(extended x) {
    static mpfr_t argument;
    static mpfr_t result;
    static const bool is_set_up = [] {
        // MPFR represents a number by a fraction of at least 1/2; its exponents include subnormal
        // numbers.
        mpfr_set_emin(MIN_EXPONENT - STORED_BITS + 1);
        mpfr_set_emax(MAX_EXPONENT + 1);
        mpfr_inits2(PRECISION, argument, result, static_cast<mpfr_ptr>(nullptr));
        return true;
    }();
    (void)is_set_up;
    set(argument, x);
    const int inexact = mpfr_exp(result, argument, MPFR_RNDN);
    mpfr_subnormalize(result, inexact, MPFR_RNDN);
    return get(result);
}

// --- Arguments

std::mt19937_64 random_bits(20261123);

int32_t random_between(int32_t low, int32_t high) {
    return std::uniform_int_distribution<int32_t>(low, high)(random_bits);
}

extended kelvin(int32_t temperature_decic) {
    return static_cast<extended>(temperature_decic) / 10 + KELVIN_OFFSET;
}

extended cycle_argument(int32_t temperature_decic, int32_t voltage_mv) {
    return (POLICY.charge_cycle.voltage_slope * (static_cast<extended>(voltage_mv) / 1000) +
            (-1 / kelvin(temperature_decic)) * POLICY.charge_cycle.activation_k) +
           POLICY.charge_cycle.offset;
}

extended full_stay_argument(int32_t temperature_decic, int32_t voltage_uv) {
    return (POLICY.full_stay.voltage_slope * (static_cast<extended>(voltage_uv) / 1'000'000) +
            (-1 / kelvin(temperature_decic)) * POLICY.full_stay.activation_k) +
           POLICY.full_stay.offset;
}

extended arrhenius_argument(int32_t temperature_decic, int32_t voltage_uv) {
    const extended volts = static_cast<extended>(voltage_uv) / 1'000'000;
    const extended line = voltage_uv <= ARRHENIUS.knee_uv
                              ? ARRHENIUS.low_offset + ARRHENIUS.low_slope * volts
                              : ARRHENIUS.high_offset + ARRHENIUS.high_slope * volts;
    return (ARRHENIUS.activation_k * (1 / kelvin(temperature_decic)) + line) + ARRHENIUS.offset;
}

extended any_between(extended low, extended high) {
    const extended fraction =
        static_cast<extended>(random_bits()) + static_cast<extended>(random_bits()) / 0x1p64;
    return low + (high - low) * (fraction / 0x1p64);
}

// Arguments at which the parts of the computation change: multiples of ln 2 / 2^18 and of 2^-64 ...
// 1, and numbers within 3 units of their last bit.
extended border_between(extended low, extended high) {
    constexpr extended LN2 = extended{0x1.62e42fefa39efp-1} + extended{0x1.abc9e3b39803fp-56};
    const extended x = any_between(low, high);
    const int kept = random_between(-20, 64);
    const extended grain = kept < 0 ? LN2 / 0x1p18 * static_cast<extended>(1 << (-kept - 1))
                                    : 1 / static_cast<extended>(Bits{1} << kept);
    const extended multiple = static_cast<extended>(static_cast<__int128>(x / grain)) * grain;
    return std::bit_cast<extended>(std::bit_cast<Bits>(multiple) +
                                   static_cast<Bits>(random_between(0, 6)) - 3);
}

// Arguments of any sign and exponent, beyond those of the largest and smallest results.
extended of_any_size() {
    const auto exponent = static_cast<Bits>(random_between(MAX_EXPONENT - 118, MAX_EXPONENT + 14));
    const Bits sign = random_bits() & 1;
    const Bits significand = (Bits{random_bits() & 0xffffffffffff} << 64) | random_bits();
    return std::bit_cast<extended>(sign << 127 | exponent << STORED_BITS | significand);
}

// --- Comparison

void print(const char* name, extended value) {
    const auto bits = std::bit_cast<Bits>(value);
    printf("  %s {0x%016llx, 0x%016llx}", name, static_cast<unsigned long long>(bits >> 64),
           static_cast<unsigned long long>(bits));
}

bool compare(const char* kind, int64_t count, const std::function<extended(int64_t)>& argument) {
    int64_t differences = 0;
    for (int64_t i = 0; i < count; i++) {
        const extended x = argument(i);
        const extended ours = extended_exp(x);
        const extended reference = reference_exp(x);
        if (std::bit_cast<Bits>(ours) != std::bit_cast<Bits>(reference) && differences++ < 5) {
            print("argument", x);
            print("ours", ours);
            print("MPFR", reference);
            printf("\n");
        }
    }
    printf("%-45s %9lld arguments, %lld differences\n", kind, static_cast<long long>(count),
           static_cast<long long>(differences));
    (void)fflush(stdout);
    return differences == 0;
}

int prove(int64_t count) {
    constexpr int32_t TEMPERATURES = 2001;
    constexpr int64_t CYCLE_ARGUMENTS = int64_t{TEMPERATURES} * 4001;
    const int64_t cycle_count = std::min(count, CYCLE_ARGUMENTS);
    bool same = compare("cycle model, -100 to 100 degC, 1 to 5 V", cycle_count, [&](int64_t i) {
        const int64_t place = i * CYCLE_ARGUMENTS / cycle_count;
        return cycle_argument(static_cast<int32_t>(place % TEMPERATURES) - 1000,
                              static_cast<int32_t>(place / TEMPERATURES) + 1000);
    });
    const auto reading = [](auto argument_of) {
        return argument_of(random_between(-1000, 1000), random_between(1'000'000, 5'000'000));
    };
    same &=
        compare("Arrhenius model", count / 2, [&](int64_t) { return reading(arrhenius_argument); });
    same &= compare("  any of its range, 3 to 65", count / 4,
                    [](int64_t) { return any_between(3, 65); });
    same &= compare("  borders", count / 4, [](int64_t) { return border_between(3, 65); });
    same &= compare("full stay", count / 2, [&](int64_t) { return reading(full_stay_argument); });
    same &= compare("  any of its range, -52 to -3", count / 4,
                    [](int64_t) { return any_between(-52, -3); });
    same &= compare("  borders", count / 4, [](int64_t) { return border_between(-52, -3); });
    same &= compare("all of binary128, by powers of two", count / 4,
                    [](int64_t) { return of_any_size(); });
    same &= compare("  subnormal results", count / 16,
                    [](int64_t) { return any_between(-11'434, -11'355); });
    return same ? 0 : 1;
}

}  // namespace
}  // namespace cellwarden

int main(int argc, char** argv) {
    return cellwarden::prove(argc > 1 ? atoll(argv[1]) : 10'000'000);
}

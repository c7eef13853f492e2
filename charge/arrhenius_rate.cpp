#include "charge/arrhenius_rate.h"

#include <bit>

#include "charge/model_constants.h"

// A battery's voltage is another one nearly every second, so the arithmetic around the exponential
// counts. Its operands lie within narrow ranges: it is done on integers, several times as fast as
// 128-bit floats in software, and rounds exactly where the formula does. A fixed-point value is a
// multiple of 2^-109; where it is finer, its name tells the power.
namespace cellwarden {
namespace {

constexpr int32_t TEMPERATURE_MIN_DECIC = -1000;
constexpr int32_t TEMPERATURE_MAX_DECIC = 1000;
constexpr int32_t VOLTAGE_MIN_UV = 1'000'000;
constexpr int32_t VOLTAGE_MAX_UV = 5'000'000;

constexpr int PRECISION = 113;  // significant bits of `extended`
constexpr int UNIT = 109;       // minus the power of two that fixed-point values count in
constexpr int SLOPE_UNIT = 51;  // same for the slopes: doubles of 2 and more

constexpr ArrheniusFixed to_fixed(extended value, int unit = UNIT) {
    return static_cast<ArrheniusFixed>(value * static_cast<extended>(ArrheniusFixed{1} << unit));
}

// Returns the number of significant bits. Requires value >= 2^64.
int width_of(ArrheniusFixed value) {
    return 128 - std::countl_zero(static_cast<uint64_t>(value >> 64));
}

// Rounds to 113 significant bits, to nearest, ties to even. Requires value >= 2^64.
ArrheniusFixed round_to_precision(ArrheniusFixed value) {
    const int excess = width_of(value) - PRECISION;
    if (excess <= 0) {
        return value;
    }
    const ArrheniusFixed half = ArrheniusFixed{1} << (excess - 1);
    const ArrheniusFixed last_kept = (value >> excess) & 1;
    return (value + half - 1 + last_kept) >> excess << excess;
}

// Requires value >= 2^64 with at most 113 significant bits.
extended to_extended(ArrheniusFixed value) {
    constexpr int EXPONENT_BIAS = 16'383;
    const int width = width_of(value);
    const int shift = PRECISION - width;
    // The mantissa's highest bit is not stored: it adds the one that the exponent lacks.
    const ArrheniusFixed mantissa = shift > 0 ? value << shift : value >> -shift;
    const auto exponent = static_cast<ArrheniusFixed>(EXPONENT_BIAS + width - 1 - UNIT) - 1;
    return std::bit_cast<extended>((exponent << (PRECISION - 1)) + mantissa);
}

// A bit below all that count, set where a cut lost something: rounding then sees that it was no
// tie.
constexpr ArrheniusFixed lost(uint64_t rest) {
    return rest != 0 ? 1 : 0;
}

// Volts in units of 2^-112: uV / 1,000,000.
ArrheniusFixed volts_112(int32_t voltage_uv) {
    constexpr uint64_t UV_PER_VOLT = 1'000'000;
    // Long division, 118 binary places: the rest is below 2^20 and takes 39 or 40 more each time.
    const uint64_t high = static_cast<uint64_t>(voltage_uv) << 39;
    const uint64_t middle = (high % UV_PER_VOLT) << 39;
    const uint64_t low = (middle % UV_PER_VOLT) << 40;
    const ArrheniusFixed volts_118 = (ArrheniusFixed{high / UV_PER_VOLT} << 79) +
                                     (ArrheniusFixed{middle / UV_PER_VOLT} << 40) +
                                     low / UV_PER_VOLT;
    return round_to_precision(volts_118 | lost(low % UV_PER_VOLT)) >> 6;
}

// offset - slope x volts, rounded after each operation.
ArrheniusFixed falling_line(ArrheniusFixed offset, uint64_t slope_51, ArrheniusFixed volts_112) {
    const ArrheniusFixed low = ArrheniusFixed{slope_51} * static_cast<uint64_t>(volts_112);
    const ArrheniusFixed high = ArrheniusFixed{slope_51} * static_cast<uint64_t>(volts_112 >> 64);
    const ArrheniusFixed drop_112 =
        ((high << (64 - SLOPE_UNIT)) + (low >> SLOPE_UNIT)) |
        lost(static_cast<uint64_t>(low) & ((uint64_t{1} << SLOPE_UNIT) - 1));
    return round_to_precision(offset - (round_to_precision(drop_112) >> 3));
}

ArrheniusFixed voltage_term(int32_t voltage_uv) {
    constexpr int32_t LAST_UV_BELOW_KNEE = 4'400'000;
    static_assert(extended{LAST_UV_BELOW_KNEE} / 1'000'000 <= ARRHENIUS_KNEE &&
                  extended{LAST_UV_BELOW_KNEE + 1} / 1'000'000 > ARRHENIUS_KNEE);
    constexpr ArrheniusFixed LOW_OFFSET = to_fixed(ARRHENIUS_LOW_OFFSET);
    constexpr ArrheniusFixed HIGH_OFFSET = to_fixed(ARRHENIUS_HIGH_OFFSET);
    constexpr auto LOW_SLOPE = static_cast<uint64_t>(to_fixed(-ARRHENIUS_LOW_SLOPE, SLOPE_UNIT));
    constexpr auto HIGH_SLOPE = static_cast<uint64_t>(to_fixed(-ARRHENIUS_HIGH_SLOPE, SLOPE_UNIT));
    return voltage_uv <= LAST_UV_BELOW_KNEE
               ? falling_line(LOW_OFFSET, LOW_SLOPE, volts_112(voltage_uv))
               : falling_line(HIGH_OFFSET, HIGH_SLOPE, volts_112(voltage_uv));
}

ArrheniusFixed temperature_term(int32_t temperature_decic) {
    const extended celsius = static_cast<extended>(temperature_decic) / 10;
    return to_fixed(ARRHENIUS_ACTIVATION * (1 / (celsius + KELVIN_OFFSET)));
}

}  // namespace

extended arrhenius_rate(ArrheniusTerms& terms, int32_t temperature_decic, int32_t voltage_uv) {
    const bool new_temperature = temperature_decic != terms.temperature_decic;
    const bool new_voltage = voltage_uv != terms.voltage_uv;
    if (!new_temperature && !new_voltage) {
        return terms.rate;
    }
    if (temperature_decic < TEMPERATURE_MIN_DECIC || temperature_decic > TEMPERATURE_MAX_DECIC ||
        voltage_uv < VOLTAGE_MIN_UV || voltage_uv > VOLTAGE_MAX_UV) {
        return 0;
    }
    if (new_temperature) {
        terms.temperature_term = temperature_term(temperature_decic);
        terms.temperature_decic = temperature_decic;
    }
    if (new_voltage) {
        terms.voltage_term = voltage_term(voltage_uv);
        terms.voltage_uv = voltage_uv;
    }
    // The sum is at least 28, so taking the offset off it loses nothing.
    constexpr ArrheniusFixed OFFSET = to_fixed(-ARRHENIUS_OFFSET);
    const ArrheniusFixed sum = round_to_precision(terms.temperature_term + terms.voltage_term);
    terms.rate = ARRHENIUS_NUMERATOR / extended_exp(to_extended(sum - OFFSET));
    return terms.rate;
}

}  // namespace cellwarden

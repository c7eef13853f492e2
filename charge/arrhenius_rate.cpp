#include "charge/arrhenius_rate.h"

#include <bit>

#include "platform/positive.h"

// A battery's voltage is another one nearly every second, so the arithmetic around the exponential
// counts: in 128-bit floats, which software emulates, it takes longer than the exponential itself.
// The operands of these sums and products lie within a few powers of two of one another. Here they
// are integers that count 2^-112, which represents a number of 113 significant bits exactly if it
// is 0, at least 1, or a difference of such numbers. Every operation is computed exactly and then
// rounded to 113 significant bits as the floats would be; a bit that was cut off before the
// rounding is kept as one "sticky" bit below, so that the rounding does not take the value for a
// tie.
namespace cellwarden {
namespace {

using namespace arrhenius;
using Unsigned = unsigned __int128;

constexpr int PRECISION = 113;  // significant bits of `extended`

Unsigned magnitude_of(ArrheniusFixed value) {
    return static_cast<Unsigned>(value < 0 ? -value : value);
}

// Number of bits of a positive value.
int width_of(Unsigned value) {
    const auto high = static_cast<uint64_t>(value >> 64);
    return high != 0 ? 128 - std::countl_zero(high)
                     : 64 - std::countl_zero(static_cast<uint64_t>(value));
}

// To 113 significant bits, to nearest, ties to even.
ArrheniusFixed round_to_precision(ArrheniusFixed value) {
    const int excess = width_of(magnitude_of(value)) - PRECISION;
    if (excess <= 0) {
        return value;
    }
    // Fewer than 16 bits, which leaves the high half alone but for a carry.
    const uint64_t half = uint64_t{1} << (excess - 1);
    const uint64_t last_kept = static_cast<uint64_t>(value) >> excess & 1;
    return (value + (half - 1 + last_kept)) & ~ArrheniusFixed{2 * half - 1};
}

// Requires a value of at most 113 significant bits.
extended to_extended(ArrheniusFixed value) {
    if (value == 0) {
        return 0;
    }
    const Unsigned magnitude = magnitude_of(value);
    const int width = width_of(magnitude);
    const int shift = PRECISION - width;
    return put_together({shift > 0 ? magnitude << shift : magnitude >> -shift, width - 1 - UNIT},
                        value < 0);
}

// uV / 1,000,000.
Unsigned to_volts(int32_t voltage_uv) {
    constexpr uint64_t UV_PER_VOLT = 1'000'000;
    // Long division to 118 binary places: the rest is below 2^20 and takes 39 or 40 more each time.
    const uint64_t high = static_cast<uint64_t>(voltage_uv) << 39;
    const uint64_t middle = (high % UV_PER_VOLT) << 39;
    const uint64_t low = (middle % UV_PER_VOLT) << 40;
    const Unsigned volts_118 = (Unsigned{high / UV_PER_VOLT} << 79) +
                               (Unsigned{middle / UV_PER_VOLT} << 40) + low / UV_PER_VOLT;
    const ArrheniusFixed sticky = low % UV_PER_VOLT != 0 ? 1 : 0;
    return static_cast<Unsigned>(
        round_to_precision(static_cast<ArrheniusFixed>(volts_118) | sticky) >> 6);
}

// offset + slope * volts.
ArrheniusFixed voltage_term(const ArrheniusModel::Line& line, Unsigned volts) {
    const Unsigned low = Unsigned{line.slope_52} * static_cast<uint64_t>(volts);
    const Unsigned high = Unsigned{line.slope_52} * static_cast<uint64_t>(volts >> 64);
    const Unsigned cut = low & ((Unsigned{1} << SLOPE_UNIT) - 1);
    const Unsigned sticky = cut != 0 ? 1 : 0;
    const ArrheniusFixed product = round_to_precision(
        static_cast<ArrheniusFixed>(((high << (64 - SLOPE_UNIT)) + (low >> SLOPE_UNIT)) | sticky));
    return round_to_precision(line.rises ? line.offset + product : line.offset - product);
}

// activation_k * (1 / (T + 273.15)).
ArrheniusFixed temperature_term(const ArrheniusModel& model, int32_t temperature_decic) {
    const extended celsius = static_cast<extended>(temperature_decic) / 10;
    return to_fixed(model.activation_k * (1 / (celsius + KELVIN_OFFSET)));
}

}  // namespace

extended arrhenius_rate(const ArrheniusModel& model, ArrheniusTerms& terms,
                        int32_t temperature_decic, int32_t voltage_uv) {
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
        terms.temperature_term = temperature_term(model, temperature_decic);
        terms.temperature_decic = temperature_decic;
    }
    if (new_voltage) {
        const bool is_low = voltage_uv <= model.last_low_uv;
        terms.voltage_term = voltage_term(is_low ? model.low : model.high, to_volts(voltage_uv));
        terms.voltage_uv = voltage_uv;
    }
    const ArrheniusFixed sum = round_to_precision(terms.temperature_term + terms.voltage_term);
    terms.rate =
        model.numerator / extended_exp(to_extended(round_to_precision(sum + model.offset)));
    return terms.rate;
}

}  // namespace cellwarden

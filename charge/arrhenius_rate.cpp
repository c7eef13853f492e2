#include "charge/arrhenius_rate.h"

namespace cellwarden {
namespace {

// A battery's voltage changes nearly every second, so the terms that depend on it are computed with
// unpacked numbers: with 128-bit floats, their six operations take longer than the exponential.
Unpacked voltage_term(const ArrheniusModel& model, int32_t voltage_uv) {
    constexpr Unpacked UV_PER_VOLT = unpack_integer(1'000'000);
    const Unpacked volts = divide(unpack_integer(static_cast<uint32_t>(voltage_uv)), UV_PER_VOLT);
    const ArrheniusModel::Line& line = voltage_uv <= model.knee_uv ? model.low : model.high;
    return add(line.offset, multiply(line.slope, volts));
}

Unpacked temperature_term(const ArrheniusModel& model, int32_t temperature_decic) {
    const extended celsius = static_cast<extended>(temperature_decic) / 10;
    return unpack(model.activation_k * (1 / (celsius + KELVIN_OFFSET)));
}

}  // namespace

const Unpacked& arrhenius_rate(const ArrheniusModel& model, ArrheniusTerms& terms,
                               int32_t temperature_decic, int32_t voltage_uv) {
    const bool new_temperature = temperature_decic != terms.temperature_decic;
    const bool new_voltage = voltage_uv != terms.voltage_uv;
    if (!new_temperature && !new_voltage) {
        return terms.rate;
    }
    if (temperature_decic < -SAMPLE_TEMPERATURE_LIMIT_DECIC ||
        temperature_decic > SAMPLE_TEMPERATURE_LIMIT_DECIC || voltage_uv < SAMPLE_VOLTAGE_MIN_UV ||
        voltage_uv > SAMPLE_VOLTAGE_MAX_UV) {
        static constexpr Unpacked NO_AGEING = unpack(0);
        return NO_AGEING;
    }
    if (new_temperature) {
        terms.temperature_term = temperature_term(model, temperature_decic);
        terms.temperature_decic = temperature_decic;
    }
    if (new_voltage) {
        terms.voltage_term = voltage_term(model, voltage_uv);
        terms.voltage_uv = voltage_uv;
    }
    const Unpacked exponent = add(add(terms.temperature_term, terms.voltage_term), model.offset);
    terms.rate = divide(model.numerator, unpacked_exp(exponent));
    return terms.rate;
}

}  // namespace cellwarden

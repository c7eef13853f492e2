// The expected bits were computed independently of the daemon, with rational numbers rounded to 113
// bits after each operation and an exponential of 400 bits.
#include "charge/ageing_models.h"

#include <gtest/gtest.h>

#include <bit>
#include <iomanip>
#include <ostream>
#include <random>
#include <tuple>

#include "charge/arrhenius_rate.h"
#include "product/policy.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

// The bits of a value of extended precision, which must be the same on all machines.
struct Bits {
    uint64_t high;
    uint64_t low;
    bool operator==(const Bits&) const = default;
};

Bits bits_of(extended value) {
    const auto bits = std::bit_cast<unsigned __int128>(value);
    return {static_cast<uint64_t>(bits >> 64), static_cast<uint64_t>(bits)};
}

std::ostream& operator<<(std::ostream& out, const Bits& bits) {
    return out << std::hex << std::setfill('0') << "0x" << std::setw(16) << bits.high << ", 0x" << std::setw(16)
               << bits.low << std::dec;
}

constexpr Bits ZERO = {0, 0};
constexpr int32_t END_OF_PERIODS = 217'728'000;

TEST(ArrheniusRate, IsExactToTheLastBit) {
    const struct {
        const char* name;
        int32_t temperature_decic, voltage_uv;
        Bits expected;
    } rows[] = {
        {"1.006: 45 degC", 450, 4'480'000, {0x3fff018d742fc3be, 0x32167b2dc1002063}},
        {"0.115: 4.4 V is below the knee", 250, 4'400'000, {0x3ffbd74a74d5e13a, 0x27349c104f5f77af}},
        {"above the knee", 250, 4'400'001, {0x3ffbdb13c9fc2bb2, 0x4091c232b011c978}},
        {"highest rate", 1000, 5'000'000, {0x4006e0f618ffa615, 0x8d6ccc43c2696fba}},
        {"lowest rate", -1000, 1'000'000, {0x3fae784c27657751, 0xccf1109411c765d9}},
        {"depends on the order of the sums", 235, 4'156'753, {0x3ff86452b2e3774a, 0x1f1e4eeee9da3028}},
        {"too hot", 1001, 4'000'000, ZERO},
        {"too cold", -1001, 4'000'000, ZERO},
    };
    for (const auto& row : rows) {
        ArrheniusTerms terms;
        EXPECT_EQ(bits_of(pack(
                      arrhenius_rate(arrhenius_model(POLICY.arrhenius), terms, row.temperature_decic, row.voltage_uv))),
                  row.expected)
            << row.name;
    }
}

// Computes the rate's formula only with floating-point operations.
extended plain_rate(int64_t temperature_decic, int64_t voltage_uv,
                    const ArrheniusConstants& constants = POLICY.arrhenius) {
    const extended celsius = static_cast<extended>(temperature_decic) / 10;
    const extended volts = static_cast<extended>(voltage_uv) / 1'000'000;
    if (celsius < -100 || celsius > 100 || volts < 1 || volts > 5) {
        return 0;
    }
    const extended a = constants.activation_k * (1 / (celsius + KELVIN_OFFSET));
    const extended b = voltage_uv <= constants.knee_uv ? constants.low_offset + constants.low_slope * volts
                                                       : constants.high_offset + constants.high_slope * volts;
    return constants.numerator / extended_exp((a + b) + constants.offset);
}

// For constants of another cell, the rate equals the formula, or policy_fault rejects them.
TEST(ArrheniusRate, AcceptsOtherConstants) {
    const struct {
        const char* name;
        ArrheniusConstants constants;
        bool holds;
    } rows[] = {
        {"small activation: the exponent falls below 0",
         {6000, 4'400'000, 44.206, -9.04, 13.75, -2.12, -25.41, 5041},
         true},
        {"rising, negative and tiny terms", {-300, 3'900'000, -1e-30, 1e-9, 0, 77.7, 1e-40, 0.5}, true},
        {"terms that cancel", {9441.71, 4'000'000, 100, -25, 0, 25, -100, 5041}, true},
        {"exp is infinite in the cold", {1'950'000, 4'400'000, 44.206, -9.04, 13.75, -2.12, -25.41, 5041}, false},
        {"exp is 0 at 5 V", {9441.71, 4'400'000, 44.206, -9.04, 13.75, -2212, -25.41, 5041}, false},
        {"no slope", {9441.71, 4'400'000, 44.206, 0, 13.75, -2.12, -25.41, 5041}, false},
        {"no rate", {9441.71, 4'400'000, 44.206, -9.04, 13.75, -2.12, -25.41, 0}, false},
        {"not a number", {9441.71, 4'400'000, 44.206, -9.04, __builtin_nan(""), -2.12, -25.41, 5041}, false},
    };
    for (const auto& row : rows) {
        Policy policy = POLICY;
        policy.arrhenius = row.constants;
        EXPECT_EQ(policy_fault(policy) == nullptr, row.holds) << row.name;
        if (!row.holds) {
            continue;
        }
        const ArrheniusModel model = arrhenius_model(row.constants);
        ArrheniusTerms terms;
        for (int32_t temperature_decic = -1001; temperature_decic <= 1001; temperature_decic += 77) {
            for (const int32_t voltage_uv : {1'000'000, 2'718'281, 3'899'999, 3'900'000, 3'900'001, 4'000'000,
                                             4'000'001, 4'400'000, 4'400'001, 5'000'000, 5'000'001}) {
                EXPECT_EQ(bits_of(pack(arrhenius_rate(model, terms, temperature_decic, voltage_uv))),
                          bits_of(plain_rate(temperature_decic, voltage_uv, row.constants)))
                    << row.name << ' ' << temperature_decic << ' ' << voltage_uv;
            }
        }
    }
}

struct Reading {
    int64_t online_time;
    int32_t temperature_decic, voltage_uv;
};

// The integral equals its definition as a sum over seconds.
TEST(ArrheniusIntegral, EqualsTheSumOfItsSecondsBitForBit) {
    // Readings at which the rate's terms change their exponent, and at the limits of the valid range.
    const int32_t voltages[] = {1'000'000, 1'350'221, 1'769'911, 2'000'000, 3'120'132,
                                3'539'823, 4'000'000, 4'005'088, 4'400'000, 5'000'000};
    const int64_t starts[] = {-100, 1, 863'950, 1'727'990, END_OF_PERIODS - 50, INT32_MAX - 50};
    std::mt19937_64 random;
    const auto pick = [&](int64_t low, int64_t high) {
        return static_cast<int32_t>(std::uniform_int_distribution<int64_t>(low, high)(random));
    };
    for (size_t history = 0; history < 240; history++) {
        ServiceState state;
        extended total = 0;
        PerPeriod<extended> per_period{};
        Reading reading{starts[history % std::size(starts)], 0, 0};
        for (int step = 0; step < 5; step++) {
            const Reading next{reading.online_time + pick(-9, 60),  // may be unchanged or go back
                               pick(0, 1) ? pick(-1002, 1002) : pick(250, 251),
                               pick(0, 3) ? voltages[pick(0, 9)] + pick(-2, 2) : pick(INT32_MIN, INT32_MAX)};
            // The online time wraps at 32 bits.
            state.usage.online_time = static_cast<int32_t>(next.online_time);
            update_arrhenius(state,
                             snapshot_of({{PARAM_BATTERY_TEMP, next.temperature_decic},
                                          {PARAM_BATTERY_VOLTAGE_NOW, next.voltage_uv}}),
                             POLICY);
            // A previous online time of 0 means that there is no previous reading.
            if (step > 0 && reading.online_time != 0) {
                const int64_t seconds = next.online_time - reading.online_time;
                for (int64_t k = 0; k < seconds; k++) {
                    const auto at = [=](int64_t from, int64_t to) { return from + k * (to - from) / seconds; };
                    const extended rate = plain_rate(at(reading.temperature_decic, next.temperature_decic),
                                                     at(reading.voltage_uv, next.voltage_uv));
                    total += rate;
                    const int64_t second = reading.online_time + k;
                    if (second >= 0 && second < END_OF_PERIODS) {
                        per_period[static_cast<size_t>(second / 864'000)] += rate;
                    }
                }
            }
            reading = next;
        }
        EXPECT_EQ(bits_of(state.ageing.total_arrhenius), bits_of(total)) << history;
        EXPECT_TRUE(state.ageing.arrhenius_per_10days == per_period) << history;
    }
}

struct LossRow {
    const char* name;
    int32_t online_time, temperature_decic, voltage;
    int32_t previous, now;  // the time at full charge, or the charge put in
    int32_t slot;           // the period that grows; -1: none
    Bits expected;
};

void check_losses(std::initializer_list<LossRow> rows, SysfsParamId voltage,
                  void (*update)(ServiceState& state, const SysfsParams& snapshot, const Policy& policy),
                  extended AgeingState::*total, PerPeriod<extended> AgeingState::*per_period) {
    for (const LossRow& row : rows) {
        ServiceState state{.usage = {.online_time = row.online_time}};
        state.soft_charge.previous_full_stay_time = state.soft_charge.previous_cycle_count = row.previous;
        state.ageing.soc_full_total_time = row.now;
        state.usage.total_cycle_count = static_cast<uint32_t>(row.now);
        update(state, snapshot_of({{PARAM_BATTERY_TEMP, row.temperature_decic}, {voltage, row.voltage}}), POLICY);
        EXPECT_EQ(bits_of(state.ageing.*total), row.expected) << row.name;
        PerPeriod<extended> expected{};
        if (row.slot != -1) {
            expected[static_cast<size_t>(row.slot)] = state.ageing.*total;
        }
        EXPECT_TRUE(state.ageing.*per_period == expected) << row.name;
        // A later call does not add what this call did not count.
        update(state, snapshot_of({{PARAM_BATTERY_TEMP, 250}, {voltage, row.voltage}}), POLICY);
        EXPECT_EQ(bits_of(state.ageing.*total), row.expected) << row.name;
    }
}

TEST(FullStay, BooksTheCapacityLost) {
    constexpr Bits ONE_HOUR = {0x3ff64554327a82c2, 0xbf74cfddbf95fb66};
    check_losses(
        {
            {"0.00248 % in an hour", 1, 250, 4'480'000, 9, 3609, 0, ONE_HOUR},
            {"depends on the order of the products",
             863'999,
             174,
             3'971'758,
             1,
             61'140,
             0,
             {0x3ff3942bfae8c9a3, 0xf8e95d7770110f3c}},
            {"last period, highest temperature and voltage",
             217'727'999,
             1000,
             5'000'000,
             1,
             2,
             251,
             {0x3ff543f815586569, 0x9fb438bf6aa4c25f}},
            {"coldest and lowest", 1, -1000, 1'000'000, 1, 2, 0, {0x3fb00d8acdfafffa, 0xf69c627e07b7bb45}},
            {"after the last period", END_OF_PERIODS, 250, 4'480'000, 9, 3609, -1, ONE_HOUR},
            {"before the first period", -1, 250, 4'480'000, 9, 3609, -1, ONE_HOUR},
            {"the time has wrapped", 1, 250, 4'480'000, INT32_MAX, INT32_MIN + 3599, 0, ONE_HOUR},
            {"no reference yet", 1, 250, 4'480'000, 0, 3600, -1, ZERO},
            {"time went back", 1, 250, 4'480'000, 9, 8, -1, ZERO},
            {"too hot", 1, 1001, 4'480'000, 9, 3609, -1, ZERO},
            {"voltage too high", 1, 250, 5'000'001, 9, 3609, -1, ZERO},
        },
        PARAM_BATTERY_VOLTAGE_NOW, update_full_stay_degradation, &AgeingState::total_full_stay_cap_degradation,
        &AgeingState::full_stay_capacity_degradation_per_10days);
}

TEST(CycleLoss, BooksTheCapacityLost) {
    constexpr Bits ONE_CHARGE = {0x3ff8410b093dac08, 0x4d1be332fad0393b};
    check_losses({{"0.0098 % with a full charge", 1, 250, 4480, 9, 10'009, 0, ONE_CHARGE},
                  {"depends on the order of the products",
                   863'999,
                   381,
                   4005,
                   1,
                   7742,
                   0,
                   {0x3ff6eaaab1b468c3, 0x2b54c9d1a4d3e351}},
                  {"last period, highest temperature and voltage",
                   END_OF_PERIODS - 1,
                   1000,
                   5000,
                   1,
                   2,
                   251,
                   {0x3fed3a093d0de93a, 0xe24329cdb8445d8c}},
                  {"a count above 2^31", 1, 250, 4480, INT32_MIN, INT32_MIN + 10'000, 0, ONE_CHARGE},
                  {"no reference yet", 1, 250, 4480, 0, 10'000, -1, ZERO},
                  {"too hot", 1, 1001, 4480, 9, 10'009, -1, ZERO},
                  {"voltage too low", 1, 250, 999, 9, 10'009, -1, ZERO}},
                 PARAM_VBAT_FULL, update_cycle_degradation, &AgeingState::total_cycle_degradation,
                 &AgeingState::cycle_degradation_per_10days);
}

}  // namespace
}  // namespace cellwarden

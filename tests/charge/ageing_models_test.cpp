// The expected bits were computed apart from the daemon, with rational numbers rounded to 113 bits
// after each operation and an exponential of 400 bits.
#include "charge/ageing_models.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "charge/arrhenius_rate.h"
#include "charge/model_constants.h"
#include "support/bits.h"
#include "support/sysfs.h"

// The linker sends the daemon's exponentials here.
#if LDBL_MANT_DIG == 113
#define WRAPPED(prefix) prefix##_expl
#else
#define WRAPPED(prefix) prefix##_expf128
#endif
extern "C" cellwarden::extended WRAPPED(__real)(cellwarden::extended x) noexcept;

static int exponentials;

extern "C" cellwarden::extended WRAPPED(__wrap)(cellwarden::extended x) noexcept {
    exponentials++;
    return WRAPPED(__real)(x);
}

namespace cellwarden {
namespace {

using namespace test;

constexpr Bits ZERO = {0, 0};
constexpr int32_t END_OF_PERIODS = 217'728'000;

// The others show in the bits of the rates and losses.
TEST(ModelConstants, HaveTheirBits) {
    const struct {
        const char* name;
        extended value;
        Bits expected;
    } rows[] = {
        {"level 1: 0.984", LEVEL_FACTORS[1], {0x3ffef7ced916872b, 0x020c49ba5e353f7d}},
        {"level 2: 0.958", LEVEL_FACTORS[2], {0x3ffeea7ef9db22d0, 0xe5604189374bc6a8}},
        {"level 3: 0.935", LEVEL_FACTORS[3], {0x3ffedeb851eb851e, 0xb851eb851eb851ec}},
        {"level 4: 0.928", LEVEL_FACTORS[4], {0x3ffedb22d0e56041, 0x89374bc6a7ef9db2}},
        {"level 5: 0.913", LEVEL_FACTORS[5], {0x3ffed374bc6a7ef9, 0xdb22d0e560418937}},
        {"0.99", STEP_FACTOR, {0x3ffefae147ae147a, 0xe147ae147ae147ae}},
        {"0.98", STEP_FACTOR_LOW, {0x3ffef5c28f5c28f5, 0xc28f5c28f5c28f5c}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(bits_of(row.value), row.expected) << row.name;
    }
}

TEST(ArrheniusRate, IsExactToTheLastBit) {
    const struct {
        const char* name;
        int32_t temperature_decic, voltage_uv;
        Bits expected;
    } rows[] = {
        {"1.006: 45 degC", 450, 4'480'000, {0x3fff018d742fc3be, 0x32167b2dc1002063}},
        {"0.115: 4.4 V is below the knee", 250, 4'400'000, {0x3ffbd74a74d5e13a, 0x27349c104f5f77af}},
        {"above the knee", 250, 4'400'001, {0x3ffbdb13c9fc2bb2, 0x4091c232b011c978}},
        {"half full", 250, 3'800'000, {0x3ff40a00a33f4e8b, 0x1a1070caf52e2cbe}},
        {"highest of all", 1000, 5'000'000, {0x4006e0f618ffa615, 0x8d6ccc43c2696fba}},
        {"lowest of all", -1000, 1'000'000, {0x3fae784c27657751, 0xccf1109411c765d9}},
        {"order of the sums", 235, 4'156'753, {0x3ff86452b2e3774a, 0x1f1e4eeee9da3028}},
        {"too hot", 1001, 4'000'000, ZERO},
        {"too cold", -1001, 4'000'000, ZERO},
        {"voltage too high", 250, 5'000'001, ZERO},
        {"voltage too low", 250, 999'999, ZERO},
        {"start value of the memory", INT32_MIN, 0, ZERO},
    };
    for (const auto& row : rows) {
        ArrheniusTerms terms;
        EXPECT_EQ(bits_of(arrhenius_rate(terms, row.temperature_decic, row.voltage_uv)), row.expected) << row.name;
    }
}

// The rate as the formula has it, in floating point throughout.
extended plain_rate(int64_t temperature_decic, int64_t voltage_uv) {
    const extended celsius = static_cast<extended>(temperature_decic) / 10;
    const extended volts = static_cast<extended>(voltage_uv) / 1'000'000;
    if (celsius < -100 || celsius > 100 || volts < 1 || volts > 5) {
        return 0;
    }
    const extended a = ARRHENIUS_ACTIVATION * (1 / (celsius + KELVIN_OFFSET));
    const extended b = volts <= ARRHENIUS_KNEE ? ARRHENIUS_LOW_OFFSET + ARRHENIUS_LOW_SLOPE * volts
                                               : ARRHENIUS_HIGH_OFFSET + ARRHENIUS_HIGH_SLOPE * volts;
    return ARRHENIUS_NUMERATOR / extended_exp((a + b) + ARRHENIUS_OFFSET);
}

// The whole range from the first case on, instead of one that grows from case to case.
template <typename T>
rc::Gen<T> whole_range(const rc::Gen<T>& gen) {
    return rc::gen::resize(rc::kNominalSize, gen);
}

// Where the rate's terms change their power of two, the ends of validity, and all between.
rc::Gen<int32_t> voltages() {
    return whole_range(rc::gen::oneOf(
        rc::gen::inRange(999'990, 5'000'010),
        rc::gen::map(rc::gen::pair(rc::gen::element(1'000'000, 1'350'221, 1'769'911, 2'000'000, 3'120'132, 3'539'823,
                                                    4'000'000, 4'005'088, 4'400'000, 5'000'000),
                                   rc::gen::inRange(-2, 3)),
                     [](const std::pair<int, int>& near) { return near.first + near.second; })));
}

rc::Gen<int32_t> temperatures() {
    return whole_range(rc::gen::oneOf(rc::gen::inRange(-1002, 1003), rc::gen::element(250, 251)));
}

RC_GTEST_PROP(ArrheniusRate, EqualsTheFormulaBitForBitWhateverCameBefore, ()) {
    ArrheniusTerms terms;
    for (int i = 0; i < 20; i++) {
        const int32_t temperature = *temperatures();
        const int32_t voltage = *voltages();
        for (const int32_t again : {voltage, voltage, voltage + 1}) {
            RC_ASSERT(bits_of(arrhenius_rate(terms, temperature, again)) == bits_of(plain_rate(temperature, again)));
        }
    }
}

struct Reading {
    int64_t online_time;
    int32_t temperature_decic;
    int32_t voltage_uv;
};

// The integral as it is defined: second by second.
void integrate_plainly(extended& total, PerPeriod<extended>& per_period, const Reading& from, const Reading& to) {
    const int64_t seconds = to.online_time - from.online_time;
    for (int64_t k = 0; k < seconds; k++) {
        const int64_t voltage = from.voltage_uv + k * (int64_t{to.voltage_uv} - from.voltage_uv) / seconds;
        const int64_t temperature =
            from.temperature_decic + k * (int64_t{to.temperature_decic} - from.temperature_decic) / seconds;
        const extended rate = plain_rate(temperature, voltage);
        total += rate;
        const int64_t second = from.online_time + k;
        if (second >= 0 && second < END_OF_PERIODS) {
            per_period[static_cast<size_t>(second / 864'000)] += rate;
        }
    }
}

void update_arrhenius_at(ServiceState& state, const Reading& reading) {
    // An online time that has grown past 32 bits goes on from their other end.
    state.online_time = static_cast<int32_t>(reading.online_time);
    update_arrhenius(state, snapshot_of({{PARAM_BATTERY_TEMP, reading.temperature_decic},
                                         {PARAM_BATTERY_VOLTAGE_NOW, reading.voltage_uv}}));
}

RC_GTEST_PROP(ArrheniusIntegral, EqualsTheSumOfItsSecondsBitForBit, ()) {
    Reading reading{};
    reading.online_time = *rc::gen::element(-100, 1, 863'950, 863'999, 1'727'990, END_OF_PERIODS - 864'050,
                                            END_OF_PERIODS - 50, END_OF_PERIODS, INT32_MAX - 50);
    ServiceState state;
    extended total = 0;
    PerPeriod<extended> per_period{};
    for (int step = 0; step < 5; step++) {
        const auto any = rc::gen::element(INT32_MIN, INT32_MAX);
        const Reading next{reading.online_time + *whole_range(rc::gen::inRange(0, 61)),
                           *whole_range(rc::gen::oneOf(rc::gen::inRange(200, 420), temperatures(), any)),
                           *whole_range(rc::gen::oneOf(rc::gen::inRange(3'500'000, 4'500'000), voltages(), any))};
        update_arrhenius_at(state, next);
        // A previous online time of 0 stands for none.
        if (step > 0 && reading.online_time != 0) {
            integrate_plainly(total, per_period, reading, next);
        }
        reading = next;
    }
    RC_ASSERT(bits_of(state.total_arrhenius) == bits_of(total));
    for (size_t i = 0; i < per_period.size(); i++) {
        RC_ASSERT(bits_of(state.arrhenius_per_10days[i]) == bits_of(per_period[i]));
    }
}

TEST(ArrheniusIntegral, TakesAnExponentialOnlyForANewReading) {
    const struct {
        const char* name;
        Reading to;
        int expected;
    } rows[] = {
        {"steady", {1001, 250, 4'000'000}, 1},
        {"another voltage every tenth second", {1001, 250, 4'000'100}, 100},
        {"another temperature every hundredth second", {1001, 260, 4'000'000}, 10},
        {"valid up to 5 V only", {1001, 250, 14'000'000}, 101},
    };
    for (const auto& row : rows) {
        ServiceState state;
        update_arrhenius_at(state, {1, 250, 4'000'000});
        exponentials = 0;
        update_arrhenius_at(state, row.to);
        EXPECT_EQ(exponentials, row.expected) << row.name;
    }
}

TEST(ArrheniusIntegral, BooksNothingWhereTheOnlineTimeStoodStillOrWentBack) {
    ServiceState state;
    for (const int64_t online_time : {1000, 1000, 900, 899}) {
        update_arrhenius_at(state, {online_time, 450, 4'480'000});
    }
    EXPECT_EQ(bits_of(state.total_arrhenius), ZERO);
    update_arrhenius_at(state, {900, 450, 4'480'000});
    EXPECT_EQ(bits_of(state.total_arrhenius), bits_of(plain_rate(450, 4'480'000)));
}

TEST(FullStay, BooksTheTimeFromEachCallAtFullChargeToTheNextCall) {
    const struct {
        const char* name;
        std::vector<std::pair<int64_t, int32_t>> calls;  // boot time and capacity
        int32_t start, expected;
    } rows[] = {
        {"full, then not full", {{500, 100}, {560, 99}, {700, 99}}, 7, 67},
        {"full all the time, and above 100", {{500, 100}, {560, 101}, {580, 100}}, 0, 80},
        {"the boot clock went back", {{500, 100}, {490, 99}}, 7, -3},
        {"wraps", {{500, 100}, {560, 99}}, INT32_MAX, INT32_MIN + 59},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.soc_full_total_time = row.start;
        for (const auto& [boot_time, capacity] : row.calls) {
            state.cycle_boot_time = boot_time;
            update_full_stay_degradation(state, snapshot_of({{PARAM_BATTERY_CAPACITY, capacity}}));
        }
        EXPECT_EQ(state.soc_full_total_time, row.expected) << row.name;
    }
}

// What a degradation model must have booked: the loss in the total and in one slot of the periods.
void expect_booked(const char* name, extended total, const PerPeriod<extended>& per_period, int32_t slot,
                   const Bits& expected) {
    EXPECT_EQ(bits_of(total), expected) << name;
    for (int32_t i = 0; i < PERIOD_COUNT; i++) {
        EXPECT_EQ(bits_of(per_period[static_cast<size_t>(i)]), i == slot ? expected : ZERO) << name << ", period " << i;
    }
}

constexpr int32_t NO_SLOT = -1;

struct LossRow {
    const char* name;
    int32_t online_time, temperature_decic, voltage;
    int32_t previous, now;  // what the loss grows with
    int32_t slot;
    Bits expected;
};

TEST(FullStay, BooksTheCapacityLost) {
    constexpr Bits ONE_HOUR = {0x3ff64554327a82c2, 0xbf74cfddbf95fb66};
    const LossRow rows[] = {
        {"0.00248 % in an hour", 1, 250, 4'480'000, 9, 3609, 0, ONE_HOUR},
        {"order of the products", 863'999, 174, 3'971'758, 1, 61'140, 0, {0x3ff3942bfae8c9a3, 0xf8e95d7770110f3c}},
        {"order again", 864'000, 406, 4'008'888, 1, 45'347, 1, {0x3ff54a985873abda, 0x7105daedd09e10af}},
        {"hot and high", 217'727'999, 1000, 5'000'000, 1, 2, 251, {0x3ff543f815586569, 0x9fb438bf6aa4c25f}},
        {"coldest and lowest", 1, -1000, 1'000'000, 1, 2, 0, {0x3fb00d8acdfafffa, 0xf69c627e07b7bb45}},
        {"beyond the periods", END_OF_PERIODS, 250, 4'480'000, 9, 3609, NO_SLOT, ONE_HOUR},
        {"negative online time", -1, 250, 4'480'000, 9, 3609, NO_SLOT, ONE_HOUR},
        {"the time has wrapped", 1, 250, 4'480'000, INT32_MAX, INT32_MIN + 3599, 0, ONE_HOUR},
        {"no reference yet", 1, 250, 4'480'000, 0, 3600, NO_SLOT, ZERO},
        {"time went back", 1, 250, 4'480'000, 9, 8, NO_SLOT, ZERO},
        {"too hot", 1, 1001, 4'480'000, 9, 3609, NO_SLOT, ZERO},
        {"too cold", 1, -1001, 4'480'000, 9, 3609, NO_SLOT, ZERO},
        {"voltage too high", 1, 250, 5'000'001, 9, 3609, NO_SLOT, ZERO},
        {"voltage too low", 1, 250, 999'999, 9, 3609, NO_SLOT, ZERO},
    };
    for (const LossRow& row : rows) {
        ServiceState state{.online_time = row.online_time};
        state.soft_charge.previous_full_stay_time = row.previous;
        state.soc_full_total_time = row.now;
        update_full_stay_degradation(state, snapshot_of({{PARAM_BATTERY_TEMP, row.temperature_decic},
                                                         {PARAM_BATTERY_VOLTAGE_NOW, row.voltage}}));
        expect_booked(row.name, state.total_full_stay_cap_degradation, state.full_stay_capacity_degradation_per_10days,
                      row.slot, row.expected);
        EXPECT_EQ(state.soft_charge.previous_full_stay_time, row.now) << row.name;
    }
}

TEST(CycleLoss, BooksTheCapacityLost) {
    constexpr Bits ONE_CHARGE = {0x3ff8410b093dac08, 0x4d1be332fad0393b};
    const LossRow rows[] = {
        {"0.0098 % with a full charge", 1, 250, 4480, 9, 10'009, 0, ONE_CHARGE},
        {"order of the products", 863'999, 381, 4005, 1, 7742, 0, {0x3ff6eaaab1b468c3, 0x2b54c9d1a4d3e351}},
        {"hottest and highest", END_OF_PERIODS - 1, 1000, 5000, 1, 2, 251, {0x3fed3a093d0de93a, 0xe24329cdb8445d8c}},
        {"coldest and lowest", 1, -1000, 1000, 1, 2, 0, {0x3fdec3b530c1f66b, 0x47497c6c325eb979}},
        {"beyond the periods", END_OF_PERIODS, 250, 4480, 9, 10'009, NO_SLOT, ONE_CHARGE},
        {"a count above 2^31", 1, 250, 4480, INT32_MIN, INT32_MIN + 10'000, 0, ONE_CHARGE},
        {"no reference yet", 1, 250, 4480, 0, 10'000, NO_SLOT, ZERO},
        {"too hot", 1, 1001, 4480, 9, 10'009, NO_SLOT, ZERO},
        {"too cold", 1, -1001, 4480, 9, 10'009, NO_SLOT, ZERO},
        {"too high", 1, 250, 5001, 9, 10'009, NO_SLOT, ZERO},
        {"too low", 1, 250, 999, 9, 10'009, NO_SLOT, ZERO},
    };
    for (const LossRow& row : rows) {
        ServiceState state{.online_time = row.online_time};
        state.soft_charge.previous_cycle_count = row.previous;
        state.total_cycle_count = static_cast<uint32_t>(row.now);
        update_cycle_degradation(
            state, snapshot_of({{PARAM_BATTERY_TEMP, row.temperature_decic}, {PARAM_VBAT_FULL, row.voltage}}));
        expect_booked(row.name, state.total_cycle_degradation, state.cycle_degradation_per_10days, row.slot,
                      row.expected);
        EXPECT_EQ(state.soft_charge.previous_cycle_count, row.now) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden

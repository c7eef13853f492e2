// The simulator's numbers are what the daemon would read from the bench's attribute files.
#include "tools/lifetime/readings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "bench/phone/phone_attributes.h"
#include "tools/lifetime/random.h"

namespace cellwarden::lifetime {
namespace {

int32_t enum_value(const SysfsEnumEntry* row, const std::string& text) {
    while (row->text != nullptr && text != row->text) {
        row++;
    }
    return row->value.integer;
}

int32_t value_of(SysfsParamId id, const std::string& text) {
    const SysfsParamDesc& desc = SysfsParamTable[id];
    return desc.format == FORMAT_ENUM ? enum_value(desc.enum_table, text)
                                      : static_cast<int32_t>(std::stol(text, nullptr, 0));
}

bench::Phone random_phone(Random& random) {
    const char* const usb_types[] = {"SDP", "DCP", "CDP", "HVDCP", "PD", "PD_PPS"};
    const char* const wireless_types[] = {"BPP", "EPP"};
    const auto up_to = [&](size_t count) {
        return static_cast<size_t>(next_share(random) * static_cast<double>(count));
    };
    bench::Phone phone;
    phone.battery.soc = next_share(random);
    phone.battery.temp_c = 25 + next_spread(random, 40);
    phone.battery.state_of_health = 0.7 + 0.3 * next_share(random);
    phone.charger.ageing_level = static_cast<int>(up_to(6));
    phone.charger.thermal_level = static_cast<int>(up_to(16));
    phone.charger.source = static_cast<bench::Source>(up_to(3));
    phone.charger.type = phone.charger.source == bench::Source::USB
                             ? usb_types[up_to(std::size(usb_types))]
                             : wireless_types[up_to(std::size(wireless_types))];
    phone.charger.watts =
        phone.charger.source == bench::Source::NONE ? 0 : 5 + 80 * next_share(random);
    phone.shutdown_phase = 1 + static_cast<int>(up_to(4));
    bench::advance_phone(phone, 10);
    return phone;
}

TEST(Readings, AreTheBenchsAttributes) {
    // The bench's gauge knows the capacity; what the daemon writes, it shows itself.
    const std::set<SysfsParamId> from_elsewhere = {PARAM_BATT_AGING_LEVEL, PARAM_LEARNING_COUNTER};
    Random random{1};
    SysfsParams snapshot{};
    for (int i = 0; i < 500; i++) {
        const bench::Phone phone = random_phone(random);
        Gauge gauge{.random = {1}};
        gauge.capacity_uah = bench::charge_full_uah(phone.battery);
        read_phone(phone, gauge, snapshot);
        std::set<SysfsParamId> shown = from_elsewhere;
        for (const bench::AttributeText& attribute : bench::live_attributes(phone)) {
            const SysfsParamValue& slot = snapshot[attribute.id];
            if (slot.kind == KIND_NOT_READ) {
                continue;
            }
            shown.insert(attribute.id);
            if (SysfsParamTable[attribute.id].format != FORMAT_DECIMAL) {
                if (attribute.id != PARAM_REG_AICL_STATUS) {
                    EXPECT_EQ(slot.text, attribute.text) << attribute.id;
                }
            }
            if (slot.kind == KIND_INTEGER) {
                EXPECT_EQ(slot.value.integer, value_of(attribute.id, attribute.text))
                    << attribute.id << ": " << attribute.text;
            }
        }
        EXPECT_EQ(snapshot[PARAM_BATT_AGING_LEVEL].value.integer, phone.charger.ageing_level);
        for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
            EXPECT_TRUE(snapshot[id].kind == KIND_NOT_READ ||
                        shown.contains(static_cast<SysfsParamId>(id)))
                << id;
        }
    }
}

}  // namespace
}  // namespace cellwarden::lifetime

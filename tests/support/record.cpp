#include "support/record.h"

#include <cstring>
#include <map>
#include <sstream>

namespace cellwarden::test {
namespace {

template <typename T>
struct ElementOf {
    using Type = T;
};
template <typename T, size_t N>
struct ElementOf<std::array<T, N>> : ElementOf<T> {};
template <>
struct ElementOf<DevAttachEntry> : ElementOf<uint32_t> {};

std::string element_name(const std::string& field, size_t i, size_t count) {
    if (field == "dev_attach") {
        static const char* const MEMBERS[] = {"count", "total_time", "charge_count", "reserved"};
        return field + "[" + std::to_string(i / 4) + "]." + MEMBERS[i % 4];
    }
    return count == 1 ? field : field + "[" + std::to_string(i) + "]";
}

template <typename Field>
void add_elements(std::vector<RecordElement>& elements, const std::string& field, size_t offset) {
    using Element = typename ElementOf<Field>::Type;
    constexpr size_t COUNT = sizeof(Field) / sizeof(Element);
    for (size_t i = 0; i < COUNT; i++) {
        elements.push_back(
            {element_name(field, i, COUNT), offset + i * sizeof(Element), sizeof(Element), std::is_signed_v<Element>});
    }
}

}  // namespace

const std::vector<RecordElement>& record_elements() {
    static const std::vector<RecordElement> elements = [] {
        std::vector<RecordElement> all;
#define BATT_STAT_FIELD(offset, name, unit, ...) add_elements<decltype(BattStat::name)>(all, #name, offset);
#include "state/batt_stat_fields.inc"
        return all;
    }();
    return elements;
}

int64_t element_value(const BattStat& record, const RecordElement& element) {
    uint64_t bits = 0;
    memcpy(&bits, reinterpret_cast<const char*>(&record) + element.offset, element.size);
    const size_t unused = 64 - 8 * element.size;
    return element.is_signed ? static_cast<int64_t>(bits << unused) >> unused : static_cast<int64_t>(bits);
}

void set_element(BattStat& record, const std::string& name, int64_t value) {
    static const auto by_name = [] {
        std::map<std::string, RecordElement> map;
        size_t position = 0;
        for (const RecordElement& element : record_elements()) {
            map[element.name] = element;
            if (element.name.starts_with("dev_attach[")) {
                map["dev_attach[" + std::to_string(position++) + "]"] = element;
            }
        }
        return map;
    }();
    const RecordElement& element = by_name.at(name);
    memcpy(reinterpret_cast<char*>(&record) + element.offset, &value, element.size);
}

std::string changes(const BattStat& before, const BattStat& after) {
    std::string text;
    for (const RecordElement& element : record_elements()) {
        const int64_t value = element_value(after, element);
        if (value != element_value(before, element)) {
            text += (text.empty() ? "" : " ") + element.name + "=" + std::to_string(value);
        }
    }
    return text;
}

void apply_changes(BattStat& record, const std::string& changes) {
    std::istringstream words(changes);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        set_element(record, word.substr(0, equals), std::stoll(word.substr(equals + 1)));
    }
}

}  // namespace cellwarden::test

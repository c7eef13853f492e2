// The statistics record by the names of its elements: "online_time", "fcc_mah[3]", "dev_attach[9].count".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "state/batt_stat.h"

namespace cellwarden::test {

struct RecordElement {
    std::string name;
    size_t offset;
    size_t size;
    bool is_signed;
};

// Returns all elements in the order of their offsets.
const std::vector<RecordElement>& record_elements();

int64_t element_value(const BattStat& record, const RecordElement& element);

// Sets an element by its name. The numbers of dev_attach also have names by their position, 0 to 63.
void set_element(BattStat& record, const std::string& name, int64_t value);

// Returns the elements that differ, with their values in `after`: "max_temp=250 max_temp_time=7".
std::string changes(const BattStat& before, const BattStat& after);

// Sets the elements in a text of the format of changes().
void apply_changes(BattStat& record, const std::string& changes);

}  // namespace cellwarden::test

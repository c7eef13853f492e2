// The schema of the two events equals the list that their receivers use.
#include <gtest/gtest.h>

#include <map>

#include "support/rows.h"
#include "telemetry/charging.pb-c.h"

namespace cellwarden {
namespace {

using namespace test;

// Returns "number,name,label,type" of the fields in the order of their numbers.
std::vector<std::string> fields_of(const ProtobufCMessageDescriptor& message) {
    const std::map<int, std::string> types = {{PROTOBUF_C_TYPE_UINT32, "uint32"},
                                              {PROTOBUF_C_TYPE_UINT64, "uint64"},
                                              {PROTOBUF_C_TYPE_INT32, "int32"},
                                              {PROTOBUF_C_TYPE_BOOL, "bool"},
                                              {PROTOBUF_C_TYPE_STRING, "string"}};
    const std::map<int, std::string> labels = {{PROTOBUF_C_LABEL_OPTIONAL, "optional"},
                                               {PROTOBUF_C_LABEL_REPEATED, "repeated"}};
    std::vector<std::string> fields;
    for (const auto* field = message.fields; field != message.fields + message.n_fields; field++) {
        fields.push_back(std::to_string(field->id) + "," + field->name + "," +
                         (labels.contains(field->label) ? labels.at(field->label) : "?") +
                         (field->flags == 0 ? "," : " packed,") +
                         (types.contains(field->type) ? types.at(field->type) : "?"));
        EXPECT_EQ(field->default_value, nullptr) << field->name;
    }
    return fields;
}

TEST(EventSchema, IsThatOfTheReceivers) {
    std::map<std::string, std::vector<std::string>> wanted;
    for (const auto& row : rows_of(EVENT_FIELDS, ',')) {
        wanted["charging." + row.at(0)].push_back(row.at(1) + "," + row.at(2) + "," + row.at(3) + "," + row.at(4));
    }
    for (const auto* message :
         {&charging__battery_degradation2__descriptor, &charging__charger_insertion_removal__descriptor}) {
        const std::vector<std::string> fields = fields_of(*message);
        for (const std::string& field : fields) {
            EXPECT_EQ(std::erase(wanted[message->name], field), 1U) << message->name << " has " << field;
        }
        for (const std::string& field : wanted[message->name]) {
            ADD_FAILURE() << message->name << " lacks " << field;
        }
    }
}

}  // namespace
}  // namespace cellwarden

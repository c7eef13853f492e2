#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <cstdio>
#include <map>
#include <string>

#include "telemetry/charging.pb-c.h"

namespace cellwarden {
namespace {

const std::map<ProtobufCType, std::string> type_names = {{PROTOBUF_C_TYPE_UINT32, "uint32"},
                                                         {PROTOBUF_C_TYPE_UINT64, "uint64"},
                                                         {PROTOBUF_C_TYPE_INT32, "int32"},
                                                         {PROTOBUF_C_TYPE_BOOL, "bool"},
                                                         {PROTOBUF_C_TYPE_STRING, "string"}};
const std::map<ProtobufCLabel, std::string> label_names = {{PROTOBUF_C_LABEL_OPTIONAL, "optional"},
                                                           {PROTOBUF_C_LABEL_REPEATED, "repeated"}};

std::string field_list(const ProtobufCMessageDescriptor& message) {
    std::string list;
    for (unsigned i = 0; i < message.n_fields; i++) {
        const ProtobufCFieldDescriptor& field = message.fields[i];
        EXPECT_EQ(field.flags & PROTOBUF_C_FIELD_FLAG_PACKED, 0U) << field.name;
        EXPECT_EQ(field.default_value, nullptr) << field.name;
        list += std::string(message.short_name) + " " + std::to_string(field.id) + " " + field.name + " " +
                label_names.at(field.label) + " " + type_names.at(field.type) + "\n";
    }
    return list;
}

std::string sha256_hex(const std::string& text) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    std::string hex;
    for (const unsigned char octet : digest) {
        char digits[3];
        (void)snprintf(digits, sizeof digits, "%02x", octet);
        hex += digits;
    }
    return hex;
}

// The readers of the events have this list, in the order of the numbers; whoever changes a field
// breaks them. The digest was made from the contract's own table.
TEST(ChargingSchema, IsTheContract) {
    const std::string fields = field_list(charging__battery_degradation2__descriptor) +
                               field_list(charging__charger_insertion_removal__descriptor);
    EXPECT_EQ(sha256_hex(fields), "a08f3d98c8c1ab529293ad02de90b46459dde9d7b40ccea87bbbcebca00b9545") << fields;
}

}  // namespace
}  // namespace cellwarden

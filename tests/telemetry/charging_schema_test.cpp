#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <cstdio>
#include <string>

#include "telemetry/charging.pb-c.h"

namespace cellwarden {
namespace {

std::string type_name(ProtobufCType type) {
    switch (type) {
        case PROTOBUF_C_TYPE_UINT32:
            return "uint32";
        case PROTOBUF_C_TYPE_UINT64:
            return "uint64";
        case PROTOBUF_C_TYPE_INT32:
            return "int32";
        case PROTOBUF_C_TYPE_BOOL:
            return "bool";
        case PROTOBUF_C_TYPE_STRING:
            return "string";
        default:
            return "unexpected type " + std::to_string(type);
    }
}

std::string label_name(ProtobufCLabel label) {
    return label == PROTOBUF_C_LABEL_OPTIONAL   ? "optional"
           : label == PROTOBUF_C_LABEL_REPEATED ? "repeated"
                                                : "unexpected label " + std::to_string(label);
}

std::string field_list(const ProtobufCMessageDescriptor& message) {
    std::string list;
    for (unsigned i = 0; i < message.n_fields; i++) {
        const ProtobufCFieldDescriptor& field = message.fields[i];
        EXPECT_EQ(field.flags & PROTOBUF_C_FIELD_FLAG_PACKED, 0U) << field.name;
        EXPECT_EQ(field.default_value, nullptr) << field.name;
        list += std::string(message.short_name) + " " + std::to_string(field.id) + " " + field.name + " " +
                label_name(field.label) + " " + type_name(field.type) + "\n";
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
    EXPECT_STREQ(charging__battery_degradation2__descriptor.name, "charging.BatteryDegradation2");
    EXPECT_STREQ(charging__charger_insertion_removal__descriptor.name, "charging.ChargerInsertionRemoval");
    EXPECT_EQ(charging__battery_degradation2__descriptor.n_fields, 73U);
    EXPECT_EQ(charging__charger_insertion_removal__descriptor.n_fields, 27U);
    const std::string fields = field_list(charging__battery_degradation2__descriptor) +
                               field_list(charging__charger_insertion_removal__descriptor);
    EXPECT_EQ(sha256_hex(fields), "a08f3d98c8c1ab529293ad02de90b46459dde9d7b40ccea87bbbcebca00b9545") << fields;
}

}  // namespace
}  // namespace cellwarden

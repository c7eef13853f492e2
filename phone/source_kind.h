// How the charger driver names and numbers each kind of charger.
#pragma once

#include "phone/charger.h"

namespace cellwarden::phone {

struct SourceKind {
    const char* type;  // as the USB type attribute or the wireless type attribute has it
    int active_type;   // the driver's number
    double input_v;    // the voltage that the charger is asked for
    const char* typec_mode;
};

// The kind of what is plugged in; a type that the driver does not know is a plain high-current
// source.
const SourceKind& source_kind_of(const Charger& charger);

}  // namespace cellwarden::phone

// Texts and numbers that the charger driver uses for each kind of charger.
#pragma once

#include "phone/charger.h"

namespace cellwarden::phone {

struct SourceKind {
    const char* type;  // text of the USB or wireless type attribute
    int active_type;   // number of the driver's active_charger_type attribute
    double input_v;    // the voltage that the phone requests
    const char* typec_mode;
};

// Returns the kind of the connected charger. A type without a row counts as a high-current Type-C
// source.
const SourceKind& source_kind_of(const Charger& charger);

}  // namespace cellwarden::phone

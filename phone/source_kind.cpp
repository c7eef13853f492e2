#include "phone/source_kind.h"

#include <algorithm>
#include <iterator>

namespace cellwarden::phone {
namespace {

constexpr const char* NOTHING_ATTACHED = "Nothing source attached";
constexpr const char* LEGACY_ATTACHED = "Legacy source attached";

constexpr SourceKind source_kinds[] = {
    {"SDP", 2, 5, "Type-C source attached (default current)"},
    {"DCP", 3, 5, "Type-C source attached (medium current)"},
    {"CDP", 4, 5, "Type-C source attached (medium current)"},
    {"HVDCP", 7, 9, LEGACY_ATTACHED},
    {"HVDCP_3", 8, 9, LEGACY_ATTACHED},
    {"HVDCP_3P5", 9, 9, LEGACY_ATTACHED},
    {"PD", 15, 9, "PD source attached"},
    {"PD_PPS", 16, 9, "PD source attached"},
    {"BPP", 21, 5, NOTHING_ATTACHED},
    {"EPP", 22, 12, NOTHING_ATTACHED},
};

constexpr SourceKind other_kind = {"Unknown", 5, 5, "Type-C source attached (high current)"};
constexpr SourceKind no_kind = {"Unknown", 0, 0, NOTHING_ATTACHED};

}  // namespace

const SourceKind& source_kind_of(const Charger& charger) {
    if (charger.source == Source::NONE) {
        return no_kind;
    }
    const auto* kind =
        std::find_if(std::begin(source_kinds), std::end(source_kinds),
                     [&charger](const SourceKind& row) { return charger.type == row.type; });
    return kind == std::end(source_kinds) ? other_kind : *kind;
}

}  // namespace cellwarden::phone

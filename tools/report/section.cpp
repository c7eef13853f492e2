#include "tools/report/section.h"

#include <utility>

namespace cellwarden::report {

using nlohmann::ordered_json;

ordered_json column(const char* name, const char* title, const char* unit, int digits) {
    ordered_json json = {{"name", name}, {"title", title}};
    if (*unit != '\0') {
        json["unit"] = unit;
    }
    if (digits >= 0) {
        json["digits"] = digits;
    }
    return json;
}

ordered_json section(const char* id, const char* kind, const char* title, const char* about,
                     ordered_json columns) {
    return {{"id", id},
            {"kind", kind},
            {"title", title},
            {"about", about},
            {"columns", std::move(columns)}};
}

ordered_json bars(const char* label, const char* length, const char* title, const char* format) {
    return {{"label", label}, {"length", length}, {"title", title}, {"format", format}};
}

}  // namespace cellwarden::report

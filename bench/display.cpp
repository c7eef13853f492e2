#include "bench/display.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bench/event_text.h"
#include "common/text.h"

namespace cellwarden::bench {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* CLEAR_LINE = "\r\x1b[K";
constexpr size_t EVENT_INDENT = 20;  // column of the fields of an event
constexpr const char* NO_COLOUR = "\x1b[0m";

// A line: its first word, its colour on a terminal, and its text.
struct Line {
    const char* what;
    const char* colour;
    std::string text;
};

std::string plural(uint64_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

struct LineMaker {
    Line operator()(const DaemonListens&) const {
        return {"daemon", "\x1b[1m", "listens for uevents; the timeline starts"};
    }
    Line operator()(const PhoneChange& change) const { return {"phone", "\x1b[1m", change.text}; }
    Line operator()(const UeventSent& uevent) const {
        const bool supply = uevent.subsystem == "power_supply";
        return {"uevent", "\x1b[36m", supply ? uevent.name : uevent.subsystem + " " + uevent.name};
    }
    Line operator()(const CycleDone& cycle) const {
        return {"cycle", cycle.full ? "\x1b[32m" : "\x1b[2m", cycle.full ? "full" : "light"};
    }
    Line operator()(const AttributeWrite& write) const {
        return {"write", "\x1b[33m", write.name + "  " + write.old_text + " -> " + write.new_text};
    }
    Line operator()(const UnitStored& stored) const {
        const StoredUnit& unit = stored.unit;
        return {"unit", "\x1b[35m",
                std::to_string(unit.unit) + " stored, " + plural(unit.size, "byte") +
                    (unit.value.empty() ? "" : ": " + unit.value)};
    }
    Line operator()(const EventSent& sent) const {
        std::string text =
            sent.event.category + "." + sent.event.name + ", " + plural(sent.event.size, "byte");
        for (const std::string& line : event_lines(sent.event.content)) {
            text += "\n" + std::string(EVENT_INDENT, ' ') + line;
        }
        if (!sent.event.fault.empty()) {
            text += "; " + sent.event.fault;
        }
        return {"event", "\x1b[34m", text};
    }
    Line operator()(const LogRecord& record) const {
        return {"log", record.level <= 3 ? "\x1b[31m" : "\x1b[0m", record.text};
    }
};

struct JsonMaker {
    Json operator()(const DaemonListens&) const { return {{"what", "listens"}}; }
    Json operator()(const PhoneChange& change) const {
        return {{"what", "phone"}, {"text", change.text}};
    }
    Json operator()(const UeventSent& uevent) const {
        return {{"what", "uevent"}, {"subsystem", uevent.subsystem}, {"name", uevent.name}};
    }
    Json operator()(const CycleDone& cycle) const {
        return {{"what", "cycle"}, {"kind", cycle.full ? "full" : "light"}};
    }
    Json operator()(const AttributeWrite& write) const {
        return {{"what", "write"},
                {"attribute", write.name},
                {"old", write.old_text},
                {"new", write.new_text}};
    }
    Json operator()(const UnitStored& stored) const {
        Json unit = {{"what", "unit"}, {"unit", stored.unit.unit}, {"size", stored.unit.size}};
        if (!stored.unit.value.empty()) {
            unit["value"] = stored.unit.value;
        }
        return unit;
    }
    Json operator()(const EventSent& sent) const {
        Json event = {{"what", "event"},         {"category", sent.event.category},
                      {"name", sent.event.name}, {"size", sent.event.size},
                      {"file", sent.file},       {"fields", event_json(sent.event.content)}};
        if (!sent.event.fault.empty()) {
            event["fault"] = sent.event.fault;
        }
        return event;
    }
    Json operator()(const LogRecord& record) const {
        return {{"what", "log"}, {"level", record.level}, {"text", record.text}};
    }
};

double rounded(double value, double steps_per_one) {
    return std::round(value * steps_per_one) / steps_per_one;
}

void print_json(double at_s, const Json& facts) {
    Json object = {{"at_s", rounded(at_s, 1e3)}};
    object.update(facts);
    printf("%s\n", json_text(object).c_str());
    (void)fflush(stdout);
}

void print_line(Output output, double at_s, const Line& line) {
    const bool terminal = output == Output::TERMINAL;
    printf("%s%7.1f s  %s%-7s %s%s\n", terminal ? CLEAR_LINE : "", at_s,
           terminal ? line.colour : "", line.what, printable_lines(line.text).c_str(),
           terminal ? NO_COLOUR : "");
    (void)fflush(stdout);
}

std::string status_line(const PhoneStatus& status) {
    char text[200];
    (void)snprintf(text, sizeof text,
                   "%d %%  %.3f V  %+.0f mA  %.1f °C  level %d  %s  %s  up %lld:%02lld:%02lld",
                   status.capacity_percent, status.voltage_v, status.current_ma, status.temp_c,
                   status.ageing_level, status.source.c_str(), status.charge_status.c_str(),
                   static_cast<long long>(status.uptime_s / 3600),
                   static_cast<long long>(status.uptime_s / 60 % 60),
                   static_cast<long long>(status.uptime_s % 60));
    return printable(text);
}

Json status_json(const PhoneStatus& status) {
    return {{"what", "status"},
            {"soc_percent", status.capacity_percent},
            {"voltage_v", rounded(status.voltage_v, 1e3)},
            {"current_ma", rounded(status.current_ma, 1)},
            {"temp_c", rounded(status.temp_c, 10)},
            {"charge_status", status.charge_status},
            {"level", status.ageing_level},
            {"source", status.source},
            {"uptime_s", status.uptime_s}};
}

template <typename Key>
Json counts_json(const std::map<Key, int>& counts) {
    Json object = Json::object();
    for (const auto& [key, count] : counts) {
        if constexpr (std::is_same_v<Key, std::string>) {
            object[key] = count;
        } else {
            object[std::to_string(key)] = count;
        }
    }
    return object;
}

Json summary_json(const DisplaySettings& settings, const SessionEnd& ending, const Tally& tally) {
    return {{"what", "summary"},
            {"reason", ending.reason},
            {"daemon_ran", ending.daemon_ran},
            {"uevents", tally.uevents},
            {"full_cycles", tally.full_cycles},
            {"light_cycles", tally.light_cycles},
            {"writes", counts_json(tally.attribute_writes)},
            {"units", counts_json(tally.units)},
            {"events", counts_json(tally.events)},
            {"log_lines", tally.log_lines},
            {"state_dir", settings.state_dir.string()}};
}

template <typename Key>
void print_counts(const char* title, const std::map<Key, int>& counts) {
    printf("  %-18s", title);
    const char* separator = "";
    for (const auto& [key, count] : counts) {
        if constexpr (std::is_same_v<Key, std::string>) {
            printf("%s%s %d", separator, key.c_str(), count);
        } else {
            printf("%s%u %d", separator, key, count);
        }
        separator = ", ";
    }
    printf("%s\n", counts.empty() ? "none" : "");
}

}  // namespace

void show_settings(const Display& display, const DisplaySettings& settings) {
    if (display.output == Output::JSON) {
        print_json(0, {{"what", "start"},
                       {"scenario", settings.scenario},
                       {"about", settings.about},
                       {"daemon", settings.daemon},
                       {"duration_s", settings.duration_s},
                       {"speed", settings.speed},
                       {"uptime_s", settings.uptime_s},
                       {"state_dir", settings.state_dir.string()}});
        return;
    }
    printf("Scenario %s: %s\n", printable(settings.scenario).c_str(),
           printable(settings.about).c_str());
    printf("  daemon             %s\n", settings.daemon.c_str());
    printf("  units and events   %s\n", settings.state_dir.c_str());
    printf("  duration           %g s; the battery lives %g times as fast\n", settings.duration_s,
           settings.speed);
    (void)fflush(stdout);
}

void show_happening(const Display& display, double at_s, const Happening& happening) {
    if (display.output == Output::JSON) {
        print_json(at_s, std::visit(JsonMaker{}, happening));
    } else {
        print_line(display.output, at_s, std::visit(LineMaker{}, happening));
    }
}

void show_status(Display& display, double at_s, const PhoneStatus& status) {
    if (display.output == Output::TERMINAL) {
        printf("%s%s", CLEAR_LINE, status_line(status).c_str());
        (void)fflush(stdout);
        return;
    }
    if (at_s < display.next_status_s) {
        return;
    }
    if (display.output == Output::JSON) {
        display.next_status_s = at_s + 1;
        print_json(at_s, status_json(status));
    } else {
        display.next_status_s = at_s + 5;
        print_line(display.output, at_s, {"status", "", status_line(status)});
    }
}

void show_summary(const Display& display, const DisplaySettings& settings, const SessionEnd& ending,
                  const Tally& tally) {
    if (display.output == Output::JSON) {
        print_json(ending.seconds, summary_json(settings, ending, tally));
        return;
    }
    printf("%s\nEnded after %.1f s: %s.\n", display.output == Output::TERMINAL ? CLEAR_LINE : "",
           ending.seconds, ending.reason.c_str());
    printf("  %-18s%d\n", "uevents", tally.uevents);
    printf("  %-18s%d full, %d light\n", "cycles", tally.full_cycles, tally.light_cycles);
    print_counts("attribute writes", tally.attribute_writes);
    print_counts("units stored", tally.units);
    print_counts("events sent", tally.events);
    printf("  %-18s%d\n", "log lines", tally.log_lines);
    printf("  %-18s%s\n", "files", settings.state_dir.c_str());
    (void)fflush(stdout);
}

}  // namespace cellwarden::bench

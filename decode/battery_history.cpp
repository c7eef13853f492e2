#include "decode/battery_history.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>

#include "common/input.h"
#include "decode/event_record.h"
#include "decode/oddities.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "decode/verdict.h"
#include "platform/unit_store.h"

namespace cellwarden::decode {
namespace {

namespace fs = std::filesystem;

// Events of one phone. Of the ageing events only the newest is kept.
struct Collected {
    std::optional<PhoneEvent> newest;
    size_t ageing_events = 0;
    std::vector<Connection> connections;
    std::vector<std::string> oddities;
};
using Collection = std::map<std::string, Collected>;

uint64_t sent_number(const Event& event, std::string_view name) {
    const EventField* const field = find_field(event, name);
    const auto number = field == nullptr ? std::nullopt : number_of(field->values.front());
    return static_cast<uint64_t>(std::max<int64_t>(number.value_or(0), 0));
}

Connection connection_of(const PhoneEvent& found) {
    const auto number = [&](std::string_view name) { return sent_number(found.event, name); };
    Connection connection{.time_s = found.time_s,
                          .charger = {},
                          .attached_s = number("usb_insertion_time"),
                          .from_percent = number("inserted_soc"),
                          .to_percent = number("removal_soc"),
                          .level_from = number("inserted_sc_stage"),
                          .level_to = number("removal_sc_stage"),
                          .was_protected = number("battery_care_flg") != 0,
                          .was_hot = number("usb_connector_heat_flg") != 0,
                          .max_battery_uv = number("moment_max_vbatt"),
                          .max_input_uv = number("moment_max_usbin_voltage"),
                          .input_limits = number("icl_min_counter")};
    if (const EventField* const charger = find_field(found.event, "charger_type")) {
        connection.charger = std::get<std::string>(charger->values.front());
    }
    uint64_t at_levels_s = 0;
    if (const EventField* const times = find_field(found.event, "thermal_level_time")) {
        const size_t count = std::min(times->values.size(), connection.thermal_level_s.size());
        for (size_t i = 0; i < count; i++) {
            connection.thermal_level_s[i] =
                static_cast<uint64_t>(number_of(times->values[i]).value_or(0));
            at_levels_s += connection.thermal_level_s[i];
        }
    }
    if (connection.attached_s == 0) {
        connection.attached_s = at_levels_s;
    }
    return connection;
}

// Returns whether `a` was sent before `b`. Without both times, the online times decide.
bool is_older(const PhoneEvent& a, const PhoneEvent& b) {
    if (a.time_s && b.time_s && a.time_s != b.time_s) {
        return *a.time_s < *b.time_s;
    }
    return sent_number(a.event, "online_time") < sent_number(b.event, "online_time");
}

void collect(Collected& collected, PhoneEvent found) {
    if (found.event.name == event_names().front()) {
        collected.ageing_events++;
        if (!collected.newest || !is_older(found, *collected.newest)) {
            collected.newest = std::move(found);
        }
        return;
    }
    for (const std::string& oddity : oddities_of(found.event)) {
        collected.oddities.push_back(found.place + ", " + oddity);
    }
    collected.connections.push_back(connection_of(found));
}

// Passes the events of `path` or of its content to `take`.
using Read = std::function<void(const TakeEvent& take)>;

Collection collect_events(const HistoryRequest& request, const Read& read) {
    Collection collection;
    read([&](PhoneEvent found) {
        const auto& phones = request.phones;
        if (!phones.empty() &&
            std::find(phones.begin(), phones.end(), found.phone) == phones.end()) {
            return;
        }
        if (collection.size() == request.most_phones && !collection.contains(found.phone)) {
            throw InputError(request.path + ": has events of more than " +
                             std::to_string(request.most_phones) + " phones, among them '" +
                             collection.begin()->first + "' and '" + found.phone +
                             "'; choose with --phone");
        }
        Collected& collected = collection[found.phone];
        collect(collected, std::move(found));
    });
    for (const std::string& phone : request.phones) {
        if (!collection.contains(phone)) {
            throw InputError(request.path + ": has no events of phone '" + phone + "'");
        }
    }
    return collection;
}

void add_connections(BatteryHistory& history, Collected collected) {
    history.ageing_events = collected.ageing_events;
    history.connections = std::move(collected.connections);
    std::stable_sort(history.connections.begin(), history.connections.end(),
                     [](const Connection& a, const Connection& b) { return a.time_s < b.time_s; });
    history.oddities.insert(history.oddities.end(), collected.oddities.begin(),
                            collected.oddities.end());
}

BatteryHistory history_of_events(const std::string& phone, Collected collected) {
    BatteryHistory history;
    history.phone = phone;
    history.source = "no ageing event";
    reset_batt_stat(history.stat);
    if (collected.newest) {
        const PhoneEvent& newest = *collected.newest;
        try {
            RecordOfEvent found = record_of_event(newest.event);
            history.stat = found.stat;
            history.missing = std::move(found.missing);
            history.oddities = oddities_of(history.stat);
            history.oddities.insert(history.oddities.end(), found.oddities.begin(),
                                    found.oddities.end());
        } catch (const EventError& error) {
            throw InputError(newest.place + ": " + error.what());
        }
        history.bytes = newest.packed;
        history.sent_s = newest.time_s;
        history.source =
            "ageing event" +
            (newest.time_s ? " of " + reading_text(FieldUnit::WALL_S, *newest.time_s) : "");
    } else {
        for (const RecordField& field : record_fields()) {
            history.missing.push_back(field.name);
        }
    }
    add_connections(history, std::move(collected));
    return history;
}

std::vector<BatteryHistory> histories_of_events(const HistoryRequest& request, const Read& read) {
    std::vector<BatteryHistory> histories;
    for (auto& [phone, collected] : collect_events(request, read)) {
        histories.push_back(history_of_events(phone, std::move(collected)));
    }
    if (histories.empty()) {
        throw InputError(request.path + ": contains no event that can be read");
    }
    return histories;
}

BatteryHistory history_of_record(const std::vector<uint8_t>& bytes, const Judgement& judgement) {
    BatteryHistory history;
    history.source = "record, " + judgement.name + ": " + judgement.reason;
    history.bytes = bytes;
    memcpy(&history.stat, bytes.data(), sizeof history.stat);
    history.oddities = oddities_of(history.stat);
    return history;
}

std::vector<BatteryHistory> histories_of_file(const HistoryRequest& request) {
    const std::string& path = request.path;
    std::error_code error;
    const uintmax_t size = path == "-" ? 0 : fs::file_size(path, error);
    const auto read_file = [&](const TakeEvent& take) {
        read_events(path, {}, take, request.refuse);
    };
    if (!error && size > LARGEST_INPUT) {
        return histories_of_events(request, read_file);
    }
    const std::vector<uint8_t> bytes = read_input(path);
    const Judgement judgement = judge_record(bytes);
    if (is_kept(judgement)) {
        return {history_of_record(bytes, judgement)};
    }
    if (kind_of(bytes).empty()) {
        throw InputError(path + ": not a record that the daemon would keep: " + judgement.reason +
                         "; and no event");
    }
    return histories_of_events(request, [&](const TakeEvent& take) {
        read_events_in(bytes, path, {}, take, request.refuse);
    });
}

BatteryHistory history_of_units(const HistoryRequest& request, const fs::path& record) {
    const std::vector<uint8_t> bytes = read_input(record);
    const Judgement judgement = judge_record(bytes);
    if (!is_kept(judgement)) {
        throw InputError(record.string() +
                         ": not a record that the daemon would keep: " + judgement.reason);
    }
    BatteryHistory history = history_of_record(bytes, judgement);
    const fs::path outbox = fs::path(request.path) / "outbox";
    if (fs::is_directory(outbox) && !files_of(outbox).empty()) {
        HistoryRequest events = request;
        events.phones = {};
        const auto read = [&](const TakeEvent& take) {
            read_events(outbox, {}, take, request.refuse);
        };
        for (auto& [phone, collected] : collect_events(events, read)) {
            add_connections(history, std::move(collected));
        }
    }
    return history;
}

}  // namespace

fs::path record_in(const fs::path& directory) {
    const std::string unit = std::to_string(UNIT_BATT_STAT);
    for (const fs::path& file : {directory / "units" / unit, directory / unit}) {
        if (fs::exists(file)) {
            return file;
        }
    }
    return {};
}

std::vector<BatteryHistory> load_histories(const HistoryRequest& request) {
    if (!fs::is_directory(request.path)) {
        return histories_of_file(request);
    }
    if (const fs::path record = record_in(request.path); !record.empty()) {
        return {history_of_units(request, record)};
    }
    return histories_of_events(request, [&](const TakeEvent& take) {
        read_events(request.path, {}, take, request.refuse);
    });
}

}  // namespace cellwarden::decode

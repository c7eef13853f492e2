#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "common/text.h"
#include "decode/event_stream.h"
#include "decode/oddities.h"
#include "decode/reading.h"
#include "decode/verdict.h"
#include "tools/inspect/commands.h"
#include "tools/inspect/record_text.h"

namespace cellwarden::inspect {
namespace {

using decode::Judgement;
using nlohmann::ordered_json;

BattStat record_of(const std::vector<uint8_t>& bytes) {
    BattStat stat;
    memcpy(&stat, bytes.data(), sizeof stat);
    return stat;
}

// One field per line, so that a line-by-line comparison of two records is readable.
void print_json_record(const std::string& path, size_t size, const Judgement& judgement,
                       const ordered_json& fields, const std::vector<std::string>& oddities) {
    const ordered_json head = {{"file", path},
                               {"bytes", size},
                               {"verdict", judgement.name},
                               {"reason", judgement.reason},
                               {"oddities", oddities}};
    std::cout << "{\n";
    for (const auto& item : head.items()) {
        std::cout << "  " << ordered_json(item.key()) << ": " << json_text(item.value()) << ",\n";
    }
    std::cout << "  \"fields\": {";
    const char* separator = "\n";
    for (const auto& item : fields.items()) {
        std::cout << separator << "    " << ordered_json(item.key()) << ": "
                  << json_text(item.value());
        separator = ",\n";
    }
    std::cout << (fields.empty() ? "}\n}\n" : "\n  }\n}\n");
}

}  // namespace

int show_record(const std::string& path, bool as_json) {
    const std::vector<uint8_t> bytes = read_input(path);
    const Judgement judgement = decode::judge_record(bytes);
    const bool kept = decode::is_kept(judgement);
    if (const std::string kind = decode::kind_of(bytes); !kept && !kind.empty()) {
        complain(PROGRAM,
                 path + ": is " + kind + ", not a record; 'cellwarden-inspect event' prints it");
        return NOT_SOUND;
    }
    const BattStat stat = kept ? record_of(bytes) : BattStat{};
    const std::vector<std::string> oddities =
        kept ? decode::oddities_of(stat) : std::vector<std::string>{};
    if (as_json) {
        print_json_record(path, bytes.size(), judgement,
                          kept ? record_json(stat) : ordered_json::object(), oddities);
    } else {
        std::cout << "Battery statistics record " << printable(path) << ", "
                  << decode::grouped(bytes.size()) << " bytes\n"
                  << "Verdict of the daemon at its next start: " << judgement.name << ": "
                  << judgement.reason << ".\n";
        for (const std::string& oddity : oddities) {
            std::cout << "Odd: " << oddity << '\n';
        }
        if (kept) {
            std::cout << '\n';
            print_record(std::cout, stat);
        }
    }
    return kept ? SOUND : NOT_SOUND;
}

}  // namespace cellwarden::inspect

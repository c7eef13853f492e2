// Fuzzes the page of the report: records, events, streams, and runs with a series. An input is a
// byte that is 0 for a file alone and odd for a run, the length of the file in two bytes, the file,
// and the series of the run. Each page has data that is JSON and that does not end its element.
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "fuzz/field_files.h"
#include "fuzz/field_seeds.h"
#include "fuzz/fuzzing.h"
#include "state/batt_stat.h"
#include "tools/report/overlay.h"
#include "tools/report/page.h"

namespace cellwarden::fuzz {
namespace {

std::string input_of(bool is_run, const std::string& file, const std::string& series) {
    return std::string{static_cast<char>(is_run ? 1 : 0), static_cast<char>(file.size() & 0xFF),
                       static_cast<char>(file.size() >> 8)} +
           file + series;
}

void check_page(const std::string& page) {
    constexpr std::string_view START = "id=\"data\">";
    const size_t start = page.find(START) + START.size();
    const std::string data = page.substr(start, page.find("</script>", start) - start);
    const auto json = nlohmann::json::parse(data, nullptr, false);
    promise(!json.is_discarded(), "the data of the page is JSON");
    for (const auto& section : json.at("sections")) {
        for (const auto& table : section.at("tables")) {
            for (const auto& row : table) {
                promise(row.size() == section.at("columns").size(), "a row fills its columns");
            }
        }
    }
    promise_plain(page.substr(0, page.find("<script>")));  // behind it is the program's own script
}

}  // namespace

std::vector<std::string> seeds() {
    std::vector<std::string> inputs;
    for (const std::string& file :
         {seed_record(), seed_ageing_event(), seed_connection(), seed_stream()}) {
        inputs.push_back(input_of(false, file, ""));
    }
    inputs.push_back(input_of(true, seed_record(), "online_days,true_soh\n1,99.5\n20,98.25\n"));
    return inputs;
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden;
    fuzz::Input input(data, size);
    const bool is_run = input.byte() % 2 == 1;
    const std::string file = input.text(input.number(2));
    const std::string series = input.text(size);
    std::string path = fuzz::write_file("file", file);
    if (is_run) {
        (void)fuzz::write_file("run/units/2491", file);
        (void)fuzz::write_file("run/series.csv", series);
        path = (fuzz::work_folder() / "run").string();
    }
    try {
        fuzz::check_page(
            report::page_of(report::load_subjects({{path}, {}, [](const std::string& /*text*/) {}}),
                            "fuzz", report::run_sections({path})));
    } catch (const InputError& error) {
        fuzz::promise(std::string(error.what()).find(fuzz::work_folder().string()) == 0,
                      "the message names the file");
    }
    return 0;
}

#include "tools/lifetime/run_directory.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "common/input.h"
#include "common/json_reader.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

constexpr const char* SUMMARY = "run.json";

struct TimeText {
    char text[32];
};

TimeText utc_text(int64_t wall_s, const char* format) {
    const time_t seconds = wall_s;
    struct tm utc = {};
    TimeText result = {};
    (void)strftime(result.text, sizeof result.text, format, gmtime_r(&seconds, &utc));
    return result;
}

File create(const fs::path& path) {
    File file(fopen(path.c_str(), "wbe"));
    if (!file) {
        throw std::runtime_error(path.string() + ": cannot be written: " + strerror(errno));
    }
    return file;
}

void close_file(File file, const fs::path& path) {
    const bool failed = ferror(file.get()) != 0;
    if (fclose(file.release()) != 0 || failed) {
        throw std::runtime_error(path.string() + ": could not be written completely");
    }
}

}  // namespace

void write_file(const fs::path& path, std::string_view bytes) {
    File file = create(path);
    (void)fwrite(bytes.data(), 1, bytes.size(), file.get());
    close_file(std::move(file), path);
}

void refuse_to_overwrite(const fs::path& path, bool overwrite) {
    if (!overwrite && fs::exists(path / SUMMARY)) {
        throw InputError(path.string() +
                         ": has the results of an earlier run; --overwrite replaces them");
    }
}

RunDirectory make_run_directory(const fs::path& path) {
    if (fs::exists(path) && !fs::exists(path / SUMMARY) &&
        (!fs::is_directory(path) || !fs::is_empty(path))) {
        throw std::runtime_error(path.string() +
                                 ": exists and is not the directory of an earlier run");
    }
    for (const char* part : {"units", "outbox", "series.csv", "daemon.log"}) {
        fs::remove_all(path / part);
    }
    fs::create_directories(path / "units");
    fs::create_directories(path / "outbox");
    write_file(path / SUMMARY, "{}\n");  // marks the directory until the run has ended
    return {path, create(path / "series.csv"), create(path / "daemon.log")};
}

void write_event(RunDirectory& run, int64_t wall_s, std::string_view category,
                 std::string_view name, std::string_view bytes) {
    char number[16];
    (void)snprintf(number, sizeof number, "-%04u-", ++run.event_count);
    const std::string file = utc_text(wall_s, "%Y%m%dT%H%M%SZ").text + std::string(number) +
                             std::string(category) + "-" + std::string(name);
    write_file(run.path / "outbox" / file, bytes);
}

void write_log_line(RunDirectory& run, int64_t wall_s, std::string_view line) {
    const bool ended = line.ends_with('\n');
    (void)fprintf(run.log.get(), "%s %.*s%s", utc_text(wall_s, "%Y-%m-%dT%H:%M:%SZ").text,
                  static_cast<int>(line.size()), line.data(), ended ? "" : "\n");
}

void finish_run_directory(RunDirectory& run, const std::map<uint32_t, std::string>& units,
                          const nlohmann::ordered_json& summary) {
    for (const auto& [unit, bytes] : units) {
        write_file(run.path / "units" / std::to_string(unit), bytes);
    }
    close_file(std::move(run.series), run.path / "series.csv");
    close_file(std::move(run.log), run.path / "daemon.log");
    write_file(
        run.path / SUMMARY,
        summary.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

nlohmann::ordered_json read_summary(const fs::path& run) {
    const fs::path path = run / SUMMARY;
    const std::vector<uint8_t> bytes = read_input(path);
    nlohmann::ordered_json summary = parse_ordered_document({bytes.begin(), bytes.end()}, path);
    if (!summary.contains("figures")) {
        throw InputError(path.string() + ": contains no figures: the run did not finish");
    }
    for (const char* const key : {"profile", "profile_digest", "cell_digest", "policy", "seed",
                                  "complete", "years_asked", "years_lived"}) {
        if (!summary.contains(key)) {
            throw InputError(path.string() + ": has no \"" + key +
                             "\": not the summary of a run of this version");
        }
    }
    return summary;
}

}  // namespace cellwarden::lifetime

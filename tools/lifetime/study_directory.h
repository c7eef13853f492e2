// The directory with the results of a study:
//   study.json     what the results depend on (provenance_of()), with its digest
//   lives.csv      the outcomes of the finished lives, in the order in which they finished
//   outcomes.csv   the same, in the order of phones and policies
//   phones.csv     profile, seed and traits of each phone
//   summary.json   the summary (study_summary.h)
//   events/        on request, the events of each life: PHONE-POLICY.pb, a stream
// A life is in lives.csv completely or not at all: after an interruption the study continues there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tools/lifetime/study_file.h"

namespace cellwarden::lifetime {

struct Shard {
    int index = 1;  // 1 to `count`
    int count = 1;
};

// Returns whether the shard has the phone; each phone is in one shard.
inline bool has_phone(const Shard& shard, int number) {
    return (number - 1) % shard.count == shard.index - 1;
}

// The file lives.csv, open for appending. Functions may be called from several threads. One process
// at a time can have it open.
class Journal {
  public:
    // Opens or creates the journal of `directory`, and removes an incomplete life at its end.
    // Throws std::runtime_error with the path.
    Journal(const Study& study, const std::filesystem::path& directory);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    Journal(Journal&&) = delete;
    Journal& operator=(Journal&&) = delete;

    bool has_life(int phone, size_t policy) const;
    int64_t life_count() const { return life_count_; }

    // Appends the lines of a finished life and waits until they are on the disk. If that fails, the
    // journal has none of them; throws std::runtime_error.
    void append(const std::string& lines);

  private:
    std::filesystem::path path_;
    int file_ = -1;
    int64_t size_ = 0;
    int64_t life_count_ = 0;
    size_t policies_;
    std::vector<bool> lives_;  // by phone and policy
    std::mutex mutex_;
};

// Creates the directory of a study, or opens it to continue. Throws std::runtime_error if it has
// other content, above all another study, unless `overwrite` says that another study is deleted.
void prepare_study_directory(const Study& study, const std::filesystem::path& directory,
                             bool overwrite);

// Writes outcomes.csv and phones.csv to `directory` from the journals of `parts`, which must be of
// this study and together have each life. Throws std::runtime_error that names a missing one.
void write_outcomes(const Study& study, const std::vector<std::filesystem::path>& parts,
                    const std::filesystem::path& directory);

// Writes a file completely or not at all. Throws std::runtime_error with the path.
void store_file(const std::filesystem::path& path, std::string_view bytes);

}  // namespace cellwarden::lifetime

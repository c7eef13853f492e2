#include "tools/lifetime/study_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "common/json_reader.h"
#include "tools/lifetime/outcomes.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

constexpr const char* JOURNAL = "lives.csv";
constexpr const char* PROVENANCE = "study.json";

[[noreturn]] void fail(const fs::path& path, const std::string& what) {
    throw std::runtime_error(path.string() + ": " + what);
}

[[noreturn]] void fail_errno(const fs::path& path, const char* what) {
    fail(path, std::string(what) + ": " + strerror(errno));
}

// Writes all bytes; returns whether it could.
bool write_all(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

// A complete life in a journal.
struct LifeBlock {
    int phone;
    size_t policy;
    size_t journal;
    int64_t offset;
    int64_t length;
};

// Returns the life that a line belongs to; phone 0 if it is not a complete line of this study.
std::pair<int, size_t> life_of_line(const Study& study, const std::string& line,
                                    const std::string& year) {
    std::vector<std::string> cells;
    for (size_t start = 0; start <= line.size();) {
        const size_t end = std::min(line.find(',', start), line.size());
        cells.push_back(line.substr(start, end - start));
        start = end + 1;
    }
    if (cells.size() != 4 + COLUMN_COUNT || cells[3] != year) {
        return {0, 0};
    }
    const auto policy = std::find_if(study.policies.begin(), study.policies.end(),
                                     [&](const CarePolicy& one) { return one.name == cells[2]; });
    const long phone = strtol(cells[0].c_str(), nullptr, 10);
    if (policy == study.policies.end() || phone < 1 || phone > study.phones) {
        return {0, 0};
    }
    return {static_cast<int>(phone), static_cast<size_t>(policy - study.policies.begin())};
}

// Passes each complete life of a journal to `visit`, up to the first one that is not. Returns the
// size of the complete lives.
template <typename Visit>
int64_t scan_journal(const Study& study, const fs::path& path, const Visit& visit) {
    std::vector<std::string> years;
    for (const double end : year_ends(study.years)) {
        char text[32];
        (void)snprintf(text, sizeof text, "%g", end);
        years.emplace_back(text);
    }
    std::ifstream stream(path, std::ios::binary);
    LifeBlock block{};
    std::string line;
    for (size_t row = 0; std::getline(stream, line) && !stream.eof();) {
        const auto [phone, policy] = life_of_line(study, line, years[row]);
        if (phone == 0 || (row > 0 && (phone != block.phone || policy != block.policy))) {
            break;
        }
        block.phone = phone;
        block.policy = policy;
        block.length += static_cast<int64_t>(line.size()) + 1;
        if (++row == years.size()) {
            visit(block);
            block = {.phone = 0,
                     .policy = 0,
                     .journal = 0,
                     .offset = block.offset + block.length,
                     .length = 0};
            row = 0;
        }
    }
    return block.offset;
}

size_t slot_of(const Study& study, int phone, size_t policy) {
    return static_cast<size_t>(phone - 1) * study.policies.size() + policy;
}

void sync_directory(const fs::path& path) {
    const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        (void)fsync(directory);
        (void)close(directory);
    }
}

// A file that appears under its name when it is complete.
class NewFile {
  public:
    explicit NewFile(const fs::path& path)
        : path_(path),
          part_(path.string() + ".part"),
          file_(open(part_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
        if (file_ < 0) {
            fail_errno(path_, "cannot be written");
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    NewFile(NewFile&&) = delete;
    NewFile& operator=(NewFile&&) = delete;
    ~NewFile() {
        (void)close(file_);
        (void)unlink(part_.c_str());  // fails if the file is complete
    }
    void write(std::string_view bytes) const {
        if (!write_all(file_, bytes)) {
            fail_errno(path_, "cannot be written");
        }
    }
    void finish() const {
        if (fsync(file_) != 0 || rename(part_.c_str(), path_.c_str()) != 0) {
            fail_errno(path_, "cannot be written");
        }
        sync_directory(path_.parent_path());
    }

  private:
    fs::path path_;
    std::string part_;
    int file_;
};

std::string digest_in(const fs::path& directory) {
    const fs::path file = directory / PROVENANCE;
    const std::vector<uint8_t> bytes = read_input(file);
    const nlohmann::json document = parse_document({bytes.begin(), bytes.end()}, file);
    if (!document.contains("digest") || !document.at("digest").is_string()) {
        fail(file, "has no digest: not a study's own file");
    }
    return document.at("digest").get<std::string>();
}

void write_phones(const Study& study, const fs::path& path) {
    const NewFile file(path);
    std::string line = "phone,profile,seed";
    for (const VariedTrait& varied : study.varies) {
        line += std::string(",") + varied.trait->key;
    }
    file.write(line + "\n");
    for (int number = 1; number <= study.phones; number++) {
        const StudyPhone phone = phone_of(study, number);
        line = std::to_string(number) + "," + phone.profile.name + "," + std::to_string(phone.seed);
        for (const double value : phone.traits) {
            char text[32];
            (void)snprintf(text, sizeof text, ",%.6g", value);
            line += text;
        }
        file.write(line + "\n");
    }
    file.finish();
}

}  // namespace

Journal::Journal(const Study& study, const fs::path& directory)
    : path_(directory / JOURNAL), policies_(study.policies.size()) {
    file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file_ < 0) {
        fail_errno(path_, "cannot be opened");
    }
    if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
        (void)close(file_);
        fail(path_, "another process writes this study");
    }
    lives_.resize(static_cast<size_t>(study.phones) * policies_);
    size_ = scan_journal(study, path_, [&](const LifeBlock& life) {
        lives_[slot_of(study, life.phone, life.policy)] = true;
        life_count_++;
    });
    if (ftruncate(file_, size_) != 0 || lseek(file_, size_, SEEK_SET) != size_) {
        (void)close(file_);
        fail_errno(path_, "cannot be written");
    }
}

Journal::~Journal() {
    (void)close(file_);
}

bool Journal::has_life(int phone, size_t policy) const {
    return lives_[static_cast<size_t>(phone - 1) * policies_ + policy];
}

void Journal::append(const std::string& lines) {
    const std::scoped_lock lock(mutex_);
    if (!write_all(file_, lines) || fdatasync(file_) != 0) {
        const std::string reason = strerror(errno);
        const bool is_cut = ftruncate(file_, size_) == 0 && lseek(file_, size_, SEEK_SET) == size_;
        fail(path_, "cannot be written: " + reason +
                        (is_cut ? "" : ", and has part of a life, which the next start removes"));
    }
    size_ += static_cast<int64_t>(lines.size());
    life_count_++;
}

void prepare_study_directory(const Study& study, const fs::path& directory, bool overwrite) {
    const nlohmann::ordered_json provenance = provenance_of(study);
    if (fs::exists(directory) && (!fs::is_directory(directory) || !fs::is_empty(directory))) {
        if (!fs::exists(directory / PROVENANCE)) {
            fail(directory, "exists and is not the directory of a study");
        }
        const std::string digest = digest_in(directory);
        const bool is_the_same = digest == provenance.at("digest");
        if (is_the_same && !overwrite) {
            return;
        }
        if (!overwrite) {
            fail(directory, "has the results of another study or program (" + digest.substr(0, 12) +
                                "..., not " +
                                provenance.at("digest").get<std::string>().substr(0, 12) +
                                "...); --overwrite deletes them");
        }
        for (const char* part :
             {JOURNAL, "outcomes.csv", "phones.csv", "summary.json", "events", PROVENANCE}) {
            fs::remove_all(directory / part);
        }
    }
    fs::create_directories(directory);
    store_file(directory / PROVENANCE, provenance.dump(2) + "\n");
}

void write_outcomes(const Study& study, const std::vector<fs::path>& parts,
                    const fs::path& directory) {
    const std::string digest = provenance_of(study).at("digest");
    std::vector<LifeBlock> lives;
    std::vector<std::ifstream> journals;
    for (const fs::path& part : parts) {
        if (digest_in(part) != digest) {
            fail(part, "has the results of another study or program");
        }
        (void)scan_journal(study, part / JOURNAL, [&](LifeBlock life) {
            life.journal = journals.size();
            lives.push_back(life);
        });
        journals.emplace_back(part / JOURNAL, std::ios::binary);
    }
    const auto slot = [&](const LifeBlock& life) {
        return slot_of(study, life.phone, life.policy);
    };
    std::sort(lives.begin(), lives.end(),
              [&](const LifeBlock& a, const LifeBlock& b) { return slot(a) < slot(b); });
    const auto same = [&](const LifeBlock& a, const LifeBlock& b) { return slot(a) == slot(b); };
    lives.erase(std::unique(lives.begin(), lives.end(), same), lives.end());
    const size_t wanted = static_cast<size_t>(study.phones) * study.policies.size();
    if (lives.size() < wanted) {
        size_t missing = 0;
        while (missing < lives.size() && slot(lives[missing]) == missing) {
            missing++;
        }
        fail(directory, std::to_string(wanted - lives.size()) +
                            " lives are missing, the first is phone " +
                            std::to_string(missing / study.policies.size() + 1) + " under " +
                            study.policies[missing % study.policies.size()].name);
    }
    const NewFile file(directory / "outcomes.csv");
    file.write(outcome_header());
    std::string lines;
    for (const LifeBlock& life : lives) {
        std::ifstream& journal = journals[life.journal];
        lines.resize(static_cast<size_t>(life.length));
        journal.seekg(life.offset);
        if (!journal.read(lines.data(), life.length)) {
            fail(parts[life.journal] / JOURNAL, "cannot be read");
        }
        file.write(lines);
    }
    file.finish();
    write_phones(study, directory / "phones.csv");
}

void store_file(const fs::path& path, std::string_view bytes) {
    const NewFile file(path);
    file.write(bytes);
    file.finish();
}

}  // namespace cellwarden::lifetime

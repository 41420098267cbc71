// A folder of pick files, one a station, as REAL and EQTransformer have them:
// [YYYYMMDD/]NET.STA.P.txt, NET.STA.S.txt and [STA_outputs/]X_prediction_results.csv.
#include <algorithm>
#include <filesystem>
#include <map>

#include "pick_format.h"

namespace velorix::assoc {
namespace {

namespace fs = std::filesystem;

constexpr const char* kEqTransformerFile = "X_prediction_results.csv";

bool is_pick_file(const std::string& path) {
    return is_real_pick_file(path) || fs::path(path).filename() == kEqTransformerFile;
}

/// One file behind the other.
class ChainReader : public PickReader {
  public:
    ChainReader(std::vector<std::string> paths, const PickFileOptions& options)
        : paths_(std::move(paths)), options_(options) {}

    ReadResult next(Pick& pick, std::string& error) override {
        for (;;) {
            if (!reader_ && at_ == paths_.size()) return ReadResult::end;
            if (!reader_) reader_ = open_picks(paths_[at_++], error, options_);
            if (!reader_) return ReadResult::failed;
            const ReadResult result = reader_->next(pick, error);
            if (result != ReadResult::end) return result;
            reader_.reset();
        }
    }
    const char* kind() const override { return "folder"; }

  private:
    std::vector<std::string> paths_;
    PickFileOptions options_;
    size_t at_ = 0;
    std::unique_ptr<PickReader> reader_;
};

/// One day behind the other; of each, all picks by time.
class FolderReader : public PickReader {
  public:
    FolderReader(std::vector<std::vector<std::string>> days, const PickFileOptions& options)
        : days_(std::move(days)), options_(options) {}

    ReadResult next(Pick& pick, std::string& error) override {
        for (;;) {
            if (!day_ && at_ == days_.size()) return ReadResult::end;
            if (!day_) {
                day_ = make_sorted_reader(
                    std::make_unique<ChainReader>(std::move(days_[at_++]), options_));
            }
            const ReadResult result = day_->next(pick, error);
            if (result != ReadResult::end) return result;
            day_.reset();
        }
    }
    const char* kind() const override { return "folder"; }

  private:
    std::vector<std::vector<std::string>> days_;
    PickFileOptions options_;
    size_t at_ = 0;
    std::unique_ptr<PickReader> day_;
};

/// Pick files in a folder, and in the folders in it, by the day that their folder is called after;
/// EQTransformer's, a folder a station, count as one.
using Days = std::map<std::string, std::vector<std::string>>;

bool collect(const std::string& folder, bool deeper, Days& days, std::string& error) {
    std::error_code failed;
    std::vector<std::string> folders;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code none;
        const std::string path = entry->path().string();
        if (entry->is_directory(none)) {
            folders.push_back(path);
        } else if (is_pick_file(path)) {
            const bool dated = is_real_pick_file(path);
            days[dated ? entry->path().parent_path().filename().string() : ""].push_back(path);
        }
    }
    if (failed) {
        error = folder + ": " + failed.message();
        return false;
    }
    return !deeper || std::ranges::all_of(folders, [&](const std::string& path) {
        return collect(path, false, days, error);
    });
}

}  // namespace

std::unique_ptr<PickReader> make_folder_reader(const std::string& folder,
                                               const PickFileOptions& options, std::string& error) {
    std::string root = folder;
    while (root.size() > 1 && root.ends_with('/')) root.pop_back();
    Days found;
    if (!collect(root, true, found, error)) return nullptr;
    if (found.empty()) {
        error = folder + ": a folder without NET.STA.P.txt, NET.STA.S.txt or " + kEqTransformerFile;
        return nullptr;
    }
    std::vector<std::vector<std::string>> days;
    for (auto& [day, paths] : found) {
        std::ranges::sort(paths);
        days.push_back(std::move(paths));
    }
    return std::make_unique<FolderReader>(std::move(days), options);
}

}  // namespace velorix::assoc

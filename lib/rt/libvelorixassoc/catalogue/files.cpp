// A catalogue's documents as files.
#include <algorithm>

#include "outgoing.h"

namespace velorix::assoc {
namespace {

std::string target_of(const std::string& path, const std::string& suffix) {
    if (suffix.starts_with('.') || !path.ends_with(".csv")) return path + suffix;
    return path.substr(0, path.size() - 4) + suffix + ".csv";
}

}  // namespace

struct CatalogueFiles::Target {
    explicit Target(const std::string& path, const std::string& of_suffix)
        : suffix(of_suffix), out(path) {}
    std::string suffix;
    Outgoing out;
};

CatalogueFiles::CatalogueFiles() = default;
CatalogueFiles::~CatalogueFiles() = default;

bool CatalogueFiles::open(const std::string& path, const std::vector<std::string>& suffixes,
                          const std::vector<std::string>& inputs) {
    targets_.clear();
    for (const std::string& suffix : suffixes) {
        // Several documents follow one another in a stream.
        const bool beside = !path.empty() && (targets_.empty() || targets_[0]->out.to_file());
        targets_.push_back(
            std::make_unique<Target>(beside ? target_of(path, suffix) : path, suffix));
        if (!targets_.back()->out.open(inputs)) return false;
    }
    return true;
}

std::vector<Sink*> CatalogueFiles::sinks() const {
    std::vector<Sink*> out;
    for (const auto& target : targets_) out.push_back(&target->out);
    return out;
}

bool CatalogueFiles::restart() {
    return std::ranges::all_of(targets_, [](const auto& target) { return target->out.restart(); });
}

bool CatalogueFiles::commit() {
    for (const auto& target : targets_) {
        std::string heading;
        if (targets_.size() > 1) {
            const std::string& suffix = target->suffix;
            heading = (target == targets_[0] ? "# " : "\n# ") +
                      (suffix.empty() ? "events" : suffix.substr(1)) + "\n";
        }
        if (!target->out.finish(heading)) return false;
    }
    // One file is replaced in one step; of several, the old ones go before the first new one comes.
    bool good = true;
    for (const auto& target : targets_) {
        good = good && (targets_.size() == 1 || target->out.set_aside());
    }
    for (const auto& target : targets_) good = good && target->out.appear();
    for (const auto& target : targets_) good ? target->out.settle() : target->out.take_back();
    return good;
}

}  // namespace velorix::assoc

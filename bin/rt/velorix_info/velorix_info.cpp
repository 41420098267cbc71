// Shows what grid files hold: summaries, stations, nodes, travel times; for people and scripts.
#include <signal.h>

#include <cstdio>
#include <memory>
#include <new>

#include "json.h"
#include "listings.h"
#include "mapped_files.h"
#include "no_memory.h"
#include "number_text.h"
#include "options.h"
#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "report.h"
#include "rows.h"
#include "standard_streams.h"
#include "velorix.h"
#include "velorixassoc.h"
#include "verify.h"

namespace velorix::info {
namespace {

/// Receives the grids one by one; false when something is wrong with one of them, which was told.
class Output {
  public:
    virtual ~Output() = default;
    virtual bool grid(const std::string& file, const Velorix& grid) = 0;
    virtual void finish() {}
};

bool write_listing(const Velorix& grid, const Options& options, RowSink& rows) {
    if (options.listing == Listing::stations) list_stations(grid, rows);
    if (options.listing == Listing::nodes) list_nodes(grid, rows);
    if (options.listing != Listing::times) return true;
    const auto from = chosen_node(grid, options.node);
    if (from) list_times(grid, *from, rows);
    return from.has_value();
}

class TextOutput : public Output {
  public:
    bool grid(const std::string& file, const Velorix& grid) override {
        report_.grid(file, grid);
        return true;
    }

  private:
    TextReport report_{stdout};
};

class BriefOutput : public Output {
  public:
    bool grid(const std::string& /*file*/, const Velorix& grid) override {
        report_.grid(grid);
        return true;
    }
    void finish() override { report_.print(stdout); }

  private:
    BriefReport report_;
};

class CsvOutput : public Output {
  public:
    explicit CsvOutput(const Options& options) : options_(options) {}
    bool grid(const std::string& file, const Velorix& grid) override {
        rows_.set_place(file, fixed_name(grid.name));
        return write_listing(grid, options_, rows_);
    }

  private:
    const Options& options_;
    CsvRows rows_{stdout};
};

class JsonOutput : public Output {
  public:
    explicit JsonOutput(const Options& options) : options_(options) { json_.begin(); }
    bool grid(const std::string& file, const Velorix& grid) override {
        json_.begin_object(json_summary(file, grid));
        const bool listed = list(grid);
        json_.end_object();
        return listed;
    }
    void finish() override { json_.end(); }

  private:
    bool list(const Velorix& grid) {
        if (options_.listing == Listing::none) return true;
        JsonRows rows(json_, options_.listing == Listing::stations ? "stations"
                             : options_.listing == Listing::nodes  ? "nodes"
                                                                   : "times");
        return write_listing(grid, options_, rows);
    }

    const Options& options_;
    JsonStream json_{stdout};
};

class VerifyOutput : public Output {
  public:
    bool grid(const std::string& file, const Velorix& grid) override {
        const Verification found = verify(grid);
        fputs(verification_text(file, grid, found).c_str(), stdout);
        return found.good();
    }
};

class StandardOutput : public assoc::Sink {
  public:
    // What cannot be written is found when the output is closed.
    bool write(std::string_view text) override {
        return fwrite(text.data(), 1, text.size(), stdout) == text.size();
    }
};

class PageOutput : public Output {
  public:
    bool grid(const std::string& file, const Velorix& grid) override {
        const std::string name = file.substr(file.rfind('/') + 1);
        if (run_.sources.empty() || run_.sources.back() != name) {
            run_.title += (run_.title.empty() ? "" : ", ") + name;
            run_.sources.push_back(name);
        }
        page_.add_grid(grid, true);
        return true;
    }
    void finish() override {
        page_.set_run(run_);
        StandardOutput out;
        if (page_.begin({&out})) page_.end({&out});
    }

  private:
    assoc::PageWriter page_{""};
    assoc::PageRun run_;
};

std::unique_ptr<Output> make_output(const Options& options) {
    if (options.verify) return std::make_unique<VerifyOutput>();
    if (options.html) return std::make_unique<PageOutput>();
    if (options.json) return std::make_unique<JsonOutput>(options);
    if (options.listing != Listing::none) return std::make_unique<CsvOutput>(options);
    if (options.brief) return std::make_unique<BriefOutput>();
    return std::make_unique<TextOutput>();
}

bool show_file(const std::string& file, Output& output) {
    Tbl* read = nullptr;
    if (velorix_read_file(file.c_str(), &read) < 0) {
        elog_complain(0, "velorix_read_file(%s) error.\n", file.c_str());
        return false;
    }
    const std::unique_ptr<Tbl, EndContainer<velorix_release>> grids(read);
    bool good = true;
    for (int i = 0; i < maxtbl(grids.get()); ++i) {
        good &= output.grid(file, *static_cast<const Velorix*>(gettbl(grids.get(), i)));
    }
    return good;
}

/// True when every file was read and nothing was wrong with a grid.
bool show(const Options& options) {
    const auto output = make_output(options);
    bool good = true;
    for (const std::string& file : options.files) good &= show_file(file, *output);
    output->finish();
    return good;
}

int run(int argc, char** argv) {
    Options options;
    const Parsed parsed = read_options(argc, argv, options);
    const bool good = parsed == Parsed::done || (parsed == Parsed::run && show(options));
    if (!velorix::tool::close_output()) elog_die(1, "fwrite(stdout) error.\n");
    return good ? 0 : 1;
}

}  // namespace
}  // namespace velorix::info

int main(int argc, char** argv) {
    elog_init(argc, argv);
    velorix::tool::occupy_standard_streams();
    signal(SIGPIPE, SIG_DFL);  // behind `head` a lister ends without a word, whoever started it
    velorix::tool::end_when_mapped_file_is_lost();
    velorix::tool::end_when_memory_fails();
    try {
        return velorix::info::run(argc, argv);
    } catch (const std::bad_alloc&) {
        elog_die(1, "malloc() error.\n");
    }
}

// Shows what grid files hold: summaries, stations, nodes, travel times; for people and scripts.
#include <cstdio>
#include <memory>
#include <new>

#include "json_writer.h"
#include "listings.h"
#include "mapped_files.h"
#include "options.h"
#include "platform/elog/elog.h"
#include "report.h"
#include "rows.h"
#include "text.h"
#include "velorix.h"

namespace velorix::info {
namespace {

/// Receives the grids one by one; false after a complaint about one of them.
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
    explicit JsonOutput(const Options& options) : options_(options) { json_.begin_array(); }
    bool grid(const std::string& file, const Velorix& grid) override {
        json_.begin_object();
        write_summary(file, grid, json_);
        const bool listed = list(grid);
        json_.end_object();
        return listed;
    }
    void finish() override { json_.end_array(); }

  private:
    bool list(const Velorix& grid) {
        if (options_.listing == Listing::none) return true;
        JsonRows rows(json_, options_.listing == Listing::stations ? "stations"
                             : options_.listing == Listing::nodes  ? "nodes"
                                                                   : "times");
        return write_listing(grid, options_, rows);
    }

    const Options& options_;
    JsonWriter json_{stdout};
};

std::unique_ptr<Output> make_output(const Options& options) {
    if (options.json) return std::make_unique<JsonOutput>(options);
    if (options.listing != Listing::none) return std::make_unique<CsvOutput>(options);
    if (options.brief) return std::make_unique<BriefOutput>();
    return std::make_unique<TextOutput>();
}

struct FreeGrids {
    void operator()(Tbl* grids) const { freetbl(grids, velorix_release); }
};

bool show_file(const std::string& file, Output& output) {
    Tbl* read = nullptr;
    if (velorix_read_file(file.c_str(), &read) < 0) {
        elog_complain(0, "velorix_read_file(%s) error.\n", file.c_str());
        return false;
    }
    const std::unique_ptr<Tbl, FreeGrids> grids(read);
    bool good = true;
    for (int i = 0; i < maxtbl(grids.get()); ++i) {
        good &= output.grid(file, *static_cast<const Velorix*>(gettbl(grids.get(), i)));
    }
    return good;
}

/// True when every file was read and every node that was asked for exists.
bool show(const Options& options) {
    const auto output = make_output(options);
    bool good = true;
    for (const std::string& file : options.files) good &= show_file(file, *output);
    output->finish();
    return good;
}

int run(int argc, char** argv) {
    const auto options = read_options(argc, argv);
    if (!options) {
        fputs(kUsage, stderr);
        return 1;
    }
    bool good = true;
    if (options->help) {
        printf("%s%s", kUsage, kHelp);
    } else if (options->version) {
        printf("velorix-info %s\n", VELORIX_VERSION);
    } else {
        good = show(*options);
    }
    if (fflush(stdout) != 0 || ferror(stdout)) elog_die(1, "fwrite(stdout) error.\n");
    return good ? 0 : 1;
}

}  // namespace
}  // namespace velorix::info

int main(int argc, char** argv) {
    elog_init(argc, argv);
    velorix::tool::end_when_mapped_file_is_lost();
    try {
        return velorix::info::run(argc, argv);
    } catch (const std::bad_alloc&) {
        elog_die(1, "malloc() error.\n");
    }
}

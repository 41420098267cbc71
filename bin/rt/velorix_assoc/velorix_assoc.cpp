// velorix-assoc: picks and grid files in, a catalogue of events out.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

#include "associator.h"
#include "mapped_files.h"
#include "options.h"
#include "output.h"
#include "parameters.h"
#include "pick_stream.h"
#include "platform/elog/elog.h"
#include "report.h"
#include "standard_streams.h"
#include "text.h"

using namespace velorix::assoc;

namespace {

volatile std::sig_atomic_t interrupted = 0;  // number of the signal
void interrupt(int signal) { interrupted = signal; }

// A signal ends the stream of picks where it stands; a second one ends the program.
void catch_signals() {
    struct sigaction action {};
    action.sa_handler = interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool load(const Options& options, ParameterFile& file, ProgramRules& rules, GridSet& grids) {
    if (!options.parameter_file.empty() &&
        pfread(options.parameter_file.c_str(), &file.root) != 0) {
        return false;
    }
    if (!read_program_rules(file, rules)) return false;
    if (!grids.load(options.grids, file, options.threads)) return false;
    std::vector<std::string> names;
    for (const SearchGrid& grid : grids.grids()) names.push_back(grid.name);
    complain_unknown_keys(file, names);
    for (const SearchGrid& grid : grids.grids()) {
        for (int i = 0; i < maxtbl(grid.search->drop_if_in_grid); ++i) {
            const char* other = static_cast<char*>(gettbl(grid.search->drop_if_in_grid, i));
            if (std::find(names.begin(), names.end(), other) != names.end()) continue;
            complain("grids." + grid.name + ".drop_if_in_grid: no grid '" + other +
                     "' in this run");
        }
    }
    return true;
}

int show(const ProgramRules& rules, const GridSet& grids) {
    std::fputs(show_program_rules(rules).c_str(), stdout);
    for (const SearchGrid& grid : grids.grids()) {
        std::fputs(show_grid_rules(grid.name, *grid.search, grid.rules).c_str(), stdout);
    }
    return flush_output() ? 0 : 1;
}

// Stations that never have a pick are not at work.
void mark_alive(const PickSurvey& survey, GridSet& grids) {
    for (const auto& [name, activity] : survey.stations) {
        Pick pick;
        pick.network = name.substr(0, name.find('.'));
        pick.station = name.substr(name.find('.') + 1);
        for (SearchGrid& grid : grids.grids()) {
            const int station = grid.station_of(pick);
            if (station < 0) continue;
            grid.alive[static_cast<size_t>(station)] = 1;
            grid.activity[static_cast<size_t>(station)] = &activity;
        }
    }
}

double longest_window(const GridSet& grids) {
    double window = 0.0;
    for (const SearchGrid& grid : grids.grids()) window = std::max(window, grid.rules.window);
    return window;
}

bool associate(const Options& options, PickStream& stream, Associator& associator,
               std::vector<Trial>& trials, double window) {
    const PickSurvey& survey = stream.survey();
    Progress progress(!options.quiet, survey.used());
    associator.on_event = [&](const Event& event) {
        if (!options.verbose) return;
        progress.clear();
        std::fprintf(stderr, "%s\n", event_line(event).c_str());
    };
    associator.on_trial = [&](const Trial& trial) {
        if (options.explain && std::abs(trial.time - *options.explain) <= window) {
            trials.push_back(trial);
        }
    };
    for (Pick pick; !interrupted && stream.next(pick);) {
        const double time = pick.time;
        if (!associator.add(std::move(pick))) return false;
        progress.update(time, associator.events().size());
    }
    return associator.finish();
}

int run(const Options& options) {
    ParameterFile file;
    ProgramRules rules;
    GridSet grids;
    if (!load(options, file, rules, grids)) return 1;
    if (options.show_parameters) return show(rules, grids);
    if (!options.out.empty() && !can_write_documents(documents({}, options.format), options.out))
        return 1;
    PickStream stream;
    if (!stream.open(options.stream)) return 1;
    mark_alive(stream.survey(), grids);
    if (rules.labels_automatic && stream.survey().label_s == 0 && stream.survey().label_p > 0) {
        rules.labels = Labels::p_first;
    }
    if (!options.quiet) {
        std::fputs(opening(stream.survey(), grids, rules.labels).c_str(), stderr);
    }
    std::vector<Trial> trials;
    Associator associator(grids, rules);
    catch_signals();
    if (!associate(options, stream, associator, trials, longest_window(grids))) return 1;
    name_events(associator.events());
    if (interrupted) complain("interrupted: the catalogue ends with the events found so far");
    if (!options.quiet) std::fputs(closing(associator, stream).c_str(), stderr);
    if (options.explain) {
        std::fputs(
            explanation(*options.explain, 0.5 * longest_window(grids), associator.events(), trials)
                .c_str(),
            stderr);
    }
    const auto files = documents(associator.events(), options.format);
    const bool written =
        options.out.empty() ? print_documents(files) : write_documents(files, options.out);
    // The shells' status of a program that a signal has ended: the catalogue is not whole.
    constexpr int kSignalled = 128;
    return !written ? 1 : interrupted ? kSignalled + interrupted : 0;
}

}  // namespace

int main(int argc, char** argv) {
    velorix::tool::prepare_standard_streams();
    velorix::tool::end_when_mapped_file_is_lost();
    elog_init(argc, argv);
    Options options;
    try {
        switch (parse_options(argc, argv, options)) {
            case Parsed::done:
                return flush_output() ? 0 : 1;
            case Parsed::wrong:
                return 1;
            case Parsed::run:
                break;
        }
        return run(options);
    } catch (const std::bad_alloc&) {
        elog_log(0, "out of memory\n");
    } catch (const std::exception& error) {
        elog_log(0, "%s\n", error.what());
    }
    return 1;
}

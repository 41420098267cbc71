// Which kind of pick file it is.
#include <filesystem>

#include "../support/text_values.h"
#include "pick_format.h"

namespace velorix::assoc {
namespace {

constexpr size_t kSample = 4096;  // bytes looked at

// TOML has "key = value" or "[table]" lines in front of anything else.
bool looks_like_toml(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = trim(text.substr(0, text.find('\n')));
        if (!line.empty() && line[0] != '#') {
            const size_t equals = line.find('=');
            return line[0] == '[' || (equals != line.npos && line.find(',') > equals);
        }
        const size_t end = text.find('\n');
        if (end == text.npos) break;
        text.remove_prefix(end + 1);
    }
    return false;
}

class EmptyReader : public PickReader {
  public:
    ReadResult next(Pick&, std::string&) override { return ReadResult::end; }
    const char* kind() const override { return "empty file"; }
};

// What a spreadsheet may put in front of the header.
bool names_separator(std::string_view line) { return line.starts_with("sep="); }

std::unique_ptr<PickReader> reader_of(std::unique_ptr<ByteSource> source,
                                      const PickFileOptions& options, std::string& error) {
    std::string_view text = source->peek(kSample);
    if (!source->failure().empty()) {
        error = source->failure();
        return nullptr;
    }
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    if (text.find('\0') != text.npos) {
        error = source->name() + ": binary data, not a pick file";
        return nullptr;
    }
    const std::string_view words = trim(text);
    if (words.empty() && text.size() < kSample - 3) return std::make_unique<EmptyReader>();
    if (words.starts_with('<')) return make_quakeml_reader(std::move(source), error);
    std::unique_ptr<LineFormat> format;
    if (is_real_pick_file(source->name())) {
        format = make_real_pick_format(source->name(), options, error);
        if (!format) return nullptr;
    } else if (!looks_like_css(text.substr(0, text.find('\n'))) && !looks_like_json(words) &&
               !names_separator(words) && looks_like_toml(words)) {
        return make_toml_reader(std::move(source), error);
    }
    return make_line_reader(std::move(source), options, std::move(format));
}

}  // namespace

std::unique_ptr<PickReader> open_picks(const std::string& path, std::string& error,
                                       const PickFileOptions& options) {
    std::error_code none;
    if (std::filesystem::is_directory(path, none)) return make_folder_reader(path, options, error);
    auto source = ByteSource::open(path, error);
    return source ? reader_of(std::move(source), options, error) : nullptr;
}

std::unique_ptr<PickReader> open_picks_in(std::string text, const std::string& name,
                                          std::string& error, const PickFileOptions& options) {
    return reader_of(ByteSource::of_text(std::move(text), name), options, error);
}

Header recognise_line(std::string_view line, const PickFileOptions& options) {
    if (line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
    if (trim(line).empty() || names_separator(line)) return {};
    if (looks_like_css(line)) return {.format = make_css_format(), .row = true};
    if (looks_like_json(line)) return {.format = make_json_format(), .row = true};
    if (looks_like_hypodd(line)) return {.format = make_hypodd_format(), .row = true};
    if (looks_like_real_phases(line)) return {.format = make_real_phase_format(), .row = true};
    if (looks_like_nonlinloc(line)) return {.format = make_nonlinloc_format(), .row = true};
    if (looks_like_hypoinverse(line)) return {.format = make_hypoinverse_format(), .row = true};
    if (looks_like_old_hypoinverse(line)) {
        return {.why =
                    "an HYPOINVERSE archive with two-digit years, which has another layout: "
                    "write it in the Y2000 form"};
    }
    if (looks_like_eqtransformer(line)) return recognise_eqtransformer(line);
    if (looks_like_phasenet_samples(line)) return recognise_phasenet_samples(line, options);
    return recognise_csv(line);
}

}  // namespace velorix::assoc

#include "writers.h"

#include <array>

namespace velorix::assoc {

std::optional<Format> format_of(const std::string& name) {
    constexpr std::array<std::pair<const char*, Format>, 6> kFormats{{{"text", Format::text},
                                                                      {"csv", Format::csv},
                                                                      {"json", Format::json},
                                                                      {"quakeml", Format::quakeml},
                                                                      {"css", Format::css},
                                                                      {"html", Format::html}}};
    for (const auto& [known, format] : kFormats) {
        if (name == known) return format;
    }
    return std::nullopt;
}

std::unique_ptr<CatalogueWriter> make_catalogue_writer(Format format, const std::string& digest) {
    switch (format) {
        case Format::csv:
            return make_csv_writer();
        case Format::json:
            return make_json_writer(digest);
        case Format::quakeml:
            return make_quakeml_writer();
        case Format::css:
            return make_css_writer();
        case Format::html:
            return make_page_writer(digest);
        case Format::text:
            break;
    }
    return make_text_writer();
}

}  // namespace velorix::assoc

#ifndef VELORIX_ASSOC_OUTPUT_H
#define VELORIX_ASSOC_OUTPUT_H
// Catalogues in several formats, written whole or not at all.
#include <optional>
#include <string>
#include <vector>

#include "event.h"

namespace velorix::assoc {

enum class Format { text, csv, json, quakeml, css };

/// One file of a catalogue: what is added to the output path, and its text.
struct Document {
    std::string suffix;
    std::string text;
};

using Catalogue = std::vector<Event>;

std::optional<Format> format_of(const std::string& name);

std::string text_table(const Catalogue& events);
/// Events, and picks as a second document.
std::vector<Document> csv_documents(const Catalogue& events);
/// One object a line.
std::string json_lines(const Catalogue& events);
std::string quakeml(const Catalogue& events);
/// Tables event, origin, origerr, assoc and arrival.
std::vector<Document> css_documents(const Catalogue& events);

std::vector<Document> documents(const Catalogue& events, Format format);

/**
 * Writes documents beside each other, each into a temporary file of the target's folder that is
 * renamed at the end. Nothing appears under its name before all of them are complete. A device or
 * pipe of that name is written directly.
 * @param path target; the suffix of a document goes behind it, before its extension for `.csv`
 * @return false after a logged line
 */
bool write_documents(const std::vector<Document>& documents, const std::string& path);

/// Whether these documents could be written there now; false after a logged line.
bool can_write_documents(const std::vector<Document>& documents, const std::string& path);

/// To standard output, one behind the other. False after a logged line.
bool print_documents(const std::vector<Document>& documents);

/// Sends what standard output still holds. False after a logged line.
bool flush_output();

}  // namespace velorix::assoc
#endif

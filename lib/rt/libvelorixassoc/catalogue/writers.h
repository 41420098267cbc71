#ifndef VELORIX_ASSOC_WRITERS_H
#define VELORIX_ASSOC_WRITERS_H
// One maker for each format of a catalogue.
#include "../velorixassoc.h"

namespace velorix::assoc {

std::unique_ptr<CatalogueWriter> make_text_writer();
std::unique_ptr<CatalogueWriter> make_csv_writer();
std::unique_ptr<CatalogueWriter> make_json_writer(const std::string& digest);
std::unique_ptr<CatalogueWriter> make_quakeml_writer();
std::unique_ptr<CatalogueWriter> make_css_writer();
std::unique_ptr<CatalogueWriter> make_page_writer(const std::string& digest);

/// A format of one document.
class SingleWriter : public CatalogueWriter {
  public:
    const std::vector<std::string>& suffixes() const final {
        static const std::vector<std::string> one{""};
        return one;
    }
    bool begin(const std::vector<Sink*>& sinks) final { return sinks[0]->write(head()); }
    bool add(const Event& event, const std::vector<Sink*>& sinks) final {
        return sinks[0]->write(body(event));
    }
    bool end(const std::vector<Sink*>& sinks) final { return sinks[0]->write(foot()); }

  private:
    virtual std::string head() { return ""; }
    virtual std::string body(const Event& event) = 0;
    virtual std::string foot() { return ""; }
};

}  // namespace velorix::assoc
#endif

// Events, their tables and their catalogues.
#include "bindings.h"
#include "log.h"
#include "velorixassoc.h"

namespace velorix::python {
namespace {

using assoc::Event;
using assoc::EventPick;
using Events = std::vector<std::shared_ptr<assoc::Event>>;

template <class T>
class Column {
  public:
    explicit Column(size_t size)
        : array_(static_cast<py::ssize_t>(size)), at_(array_.mutable_data()) {}
    void add(T value) { *at_++ = value; }
    py::object object() { return array_; }

  private:
    py::array_t<T> array_;
    T* at_;
};

template <class Get>
py::object numbers(const Events& events, Get get) {
    using T = std::decay_t<decltype(get(*events[0]))>;
    Column<T> column(events.size());
    for (const auto& event : events) column.add(get(*event));
    return column.object();
}

template <class Get>
py::list texts(const Events& events, Get get) {
    py::list out;
    for (const auto& event : events) out.append(get(*event));
    return out;
}

/// A column of numbers an event each.
#define VELORIX_NUMBERS(name, value) \
    out[name] = numbers(events, [](const Event& e) { return value; })

py::dict event_columns(const Events& events) {
    py::dict out;
    out["id"] = texts(events, [](const Event& e) { return e.id; });
    VELORIX_NUMBERS("time", e.time);
    VELORIX_NUMBERS("latitude", e.lat);
    VELORIX_NUMBERS("longitude", e.lon);
    VELORIX_NUMBERS("depth", e.depth);
    VELORIX_NUMBERS("p_picks", e.p);
    VELORIX_NUMBERS("s_picks", e.s);
    VELORIX_NUMBERS("defining", e.defining);
    VELORIX_NUMBERS("stations", e.stations);
    VELORIX_NUMBERS("scatter", e.scatter);
    VELORIX_NUMBERS("gap", e.gap);
    VELORIX_NUMBERS("nearest", e.nearest);
    VELORIX_NUMBERS("score", e.score);
    VELORIX_NUMBERS("time_error", e.error.time);
    VELORIX_NUMBERS("depth_error", e.error.depth);
    VELORIX_NUMBERS("error_major", e.error.major);
    VELORIX_NUMBERS("error_minor", e.error.minor);
    VELORIX_NUMBERS("error_strike", e.error.strike);
    VELORIX_NUMBERS("fixed_depth", e.fixed_depth);
    VELORIX_NUMBERS("on_edge", e.on_edge);
    out["grid"] = texts(events, [](const Event& e) { return e.grid; });
    return out;
}
#undef VELORIX_NUMBERS

template <class Get>
py::object of_picks(const Events& events, size_t count, Get get) {
    using T = std::decay_t<decltype(get(events[0]->picks[0]))>;
    Column<T> column(count);
    for (const auto& event : events) {
        for (const EventPick& pick : event->picks) column.add(get(pick));
    }
    return column.object();
}

template <class Get>
py::list texts_of_picks(const Events& events, Get get) {
    py::list out;
    for (const auto& event : events) {
        for (const EventPick& pick : event->picks) out.append(get(pick));
    }
    return out;
}

py::dict pick_columns(const Events& events) {
    size_t count = 0;
    for (const auto& event : events) count += event->picks.size();
    Column<int64_t> number(count);
    int64_t at = 0;
    for (const auto& event : events) {
        for (size_t i = 0; i < event->picks.size(); ++i) number.add(at);
        ++at;
    }
    py::dict out;
    out["row"] = of_picks(events, count, [](const EventPick& p) { return p.pick.tag; });
    out["event"] = number.object();
    out["network"] = texts_of_picks(events, [](const EventPick& p) { return p.pick.network; });
    out["station"] = texts_of_picks(events, [](const EventPick& p) { return p.pick.station; });
    out["phase"] = texts_of_picks(events, [](const EventPick& p) { return py::str(&p.phase, 1); });
    out["time"] = of_picks(events, count, [](const EventPick& p) { return p.pick.time; });
    out["residual"] = of_picks(events, count, [](const EventPick& p) { return p.residual; });
    out["distance"] = of_picks(events, count, [](const EventPick& p) { return p.delta; });
    out["azimuth"] = of_picks(events, count, [](const EventPick& p) { return p.esaz; });
    out["weight"] = of_picks(events, count, [](const EventPick& p) { return p.weight; });
    out["defining"] = of_picks(events, count, [](const EventPick& p) { return p.defining; });
    return out;
}

assoc::Format format_called(const std::string& name) {
    const auto format = assoc::format_of(name);
    if (!format) throw Failure("'" + name + "' is no format: text, csv, json, quakeml or css");
    return *format;
}

bool write_all(assoc::CatalogueWriter& writer, const Events& events,
               const std::vector<assoc::Sink*>& sinks) {
    bool good = writer.begin(sinks);
    for (size_t i = 0; good && i < events.size(); ++i) good = writer.add(*events[i], sinks);
    return good && writer.end(sinks);
}

/// The documents of a catalogue by their suffixes.
py::dict catalogue_text(const Events& events, const std::string& format,
                        const std::string& digest) {
    const LogScope log;
    const auto writer = assoc::make_catalogue_writer(format_called(format), digest);
    std::vector<assoc::TextSink> texts(writer->suffixes().size());
    std::vector<assoc::Sink*> sinks;
    for (assoc::TextSink& text : texts) sinks.push_back(&text);
    if (!write_all(*writer, events, sinks)) throw log.failure("the catalogue cannot be written");
    py::dict out;
    for (size_t i = 0; i < texts.size(); ++i) {
        out[py::str(writer->suffixes()[i])] = py::bytes(texts[i].text);
    }
    return out;
}

void write_catalogue(const Events& events, const std::string& format, const std::string& digest,
                     const std::string& path) {
    const py::gil_scoped_release unlocked;
    const LogScope log;
    const auto writer = assoc::make_catalogue_writer(format_called(format), digest);
    assoc::CatalogueFiles files;
    if (!files.open(path, writer->suffixes(), {}) || !write_all(*writer, events, files.sinks()) ||
        !files.commit()) {
        throw log.failure("the catalogue cannot be written");
    }
}

py::list covariance(const assoc::Uncertainty& error) {
    py::list out;
    for (const auto& row : error.covariance) {
        out.append(py::make_tuple(row[0], row[1], row[2], row[3]));
    }
    return out;
}

void bind_records(py::module_& module) {
    py::class_<assoc::Pick>(module, "Pick")
        .def_readonly("time", &assoc::Pick::time)
        .def_readonly("network", &assoc::Pick::network)
        .def_readonly("station", &assoc::Pick::station)
        .def_readonly("location", &assoc::Pick::location)
        .def_readonly("channel", &assoc::Pick::channel)
        .def_readonly("phase", &assoc::Pick::phase)
        .def_readonly("id", &assoc::Pick::id)
        .def_readonly("quality", &assoc::Pick::quality)
        .def_readonly("row", &assoc::Pick::tag);
    py::class_<EventPick>(module, "EventPick")
        .def_readonly("pick", &EventPick::pick)
        .def_property_readonly("phase", [](const EventPick& p) { return std::string(1, p.phase); })
        .def_readonly("defining", &EventPick::defining)
        .def_readonly("residual", &EventPick::residual)
        .def_readonly("distance", &EventPick::delta)
        .def_readonly("azimuth", &EventPick::esaz)
        .def_readonly("back_azimuth", &EventPick::seaz)
        .def_readonly("weight", &EventPick::weight);
    py::class_<assoc::LeftOut>(module, "LeftOut")
        .def_readonly("pick", &assoc::LeftOut::pick)
        .def_property_readonly("phase",
                               [](const assoc::LeftOut& p) { return std::string(1, p.phase); })
        .def_readonly("residual", &assoc::LeftOut::residual)
        .def_property_readonly("reason", &assoc::reason_text);
    py::class_<assoc::Uncertainty>(module, "Uncertainty")
        .def_readonly("time", &assoc::Uncertainty::time)
        .def_readonly("depth", &assoc::Uncertainty::depth)
        .def_readonly("major", &assoc::Uncertainty::major)
        .def_readonly("minor", &assoc::Uncertainty::minor)
        .def_readonly("strike", &assoc::Uncertainty::strike)
        .def_readonly("east", &assoc::Uncertainty::east)
        .def_readonly("north", &assoc::Uncertainty::north)
        .def_property_readonly("covariance", covariance);
}

}  // namespace

void bind_events(py::module_& module) {
    bind_records(module);
    py::class_<Event, std::shared_ptr<Event>>(module, "EventRecord")
        .def_readonly("id", &Event::id)
        .def_readonly("time", &Event::time)
        .def_readonly("latitude", &Event::lat)
        .def_readonly("longitude", &Event::lon)
        .def_readonly("depth", &Event::depth)
        .def_readonly("grid", &Event::grid)
        .def_readonly("model", &Event::model)
        .def_readonly("p_picks", &Event::p)
        .def_readonly("s_picks", &Event::s)
        .def_readonly("defining", &Event::defining)
        .def_readonly("stations", &Event::stations)
        .def_readonly("scatter", &Event::scatter)
        .def_readonly("gap", &Event::gap)
        .def_readonly("nearest", &Event::nearest)
        .def_readonly("farthest", &Event::farthest)
        .def_readonly("score", &Event::score)
        .def_readonly("coverage", &Event::coverage)
        .def_readonly("on_edge", &Event::on_edge)
        .def_readonly("fixed_depth", &Event::fixed_depth)
        .def_readonly("error", &Event::error)
        .def_readonly("picks", &Event::picks)
        .def_readonly("left_out", &Event::left_out);
    module.def("event_columns", event_columns);
    module.def("pick_columns", pick_columns);
    module.def("catalogue_text", catalogue_text);
    module.def("write_catalogue", write_catalogue);
}

}  // namespace velorix::python

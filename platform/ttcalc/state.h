#ifndef VELORIX_TTCALC_STATE_H
#define VELORIX_TTCALC_STATE_H
// What a hook of the calculator holds, and what its calls share.
#include <cerrno>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <numbers>
#include <string>
#include <vector>

#include "platform/elog/elog.h"
#include "platform/ttcalc/calculator.h"
#include "platform/ttcalc/first_times.h"
#include "platform/ttcalc/ttcalc.h"

namespace velorix::tt {

inline constexpr double kDegree = std::numbers::pi / 180.0;
inline constexpr size_t kModelLength = 64;

/// An answer's records and the list of them. Records keep their place, so the list is extended,
/// never rewritten, while it grows.
template <class Record>
struct Answer {
    std::vector<Record> records;
    Tbl* list = nullptr;

    ~Answer() { freetbl(list, nullptr); }

    bool resize(size_t n) {
        if (list == nullptr) list = newtbl(32);
        if (list == nullptr) return false;
        if (static_cast<size_t>(maxtbl(list)) == n && records.size() >= n) return true;
        if (records.size() < n || static_cast<size_t>(maxtbl(list)) > n) clrtbl(list);
        if (records.size() < n) records.resize(n + 16);
        for (size_t i = static_cast<size_t>(maxtbl(list)); i < n; ++i) {
            if (settbl(list, static_cast<int>(i), &records[i]) < 0) return false;
        }
        return true;
    }
};

/// Sine and cosine of the latest angle asked for: nodes and stations repeat.
struct SineCosine {
    double angle = 0.0, sine = 0.0, cosine = 1.0;

    void set(double degrees);
};

/// Eta at the source in the layers above and below it, of the latest depth asked for.
struct SourceEta {
    const OpenModel* model = nullptr;
    double radius = 0.0;
    double above[2] = {}, below[2] = {};  // by family

    void set(const OpenModel& open, double r);

    // dT/d(source depth), s/km: the vertical slowness at the source, negative for a ray that leaves
    // it downward. A ray arrives at the upper end from below, whichever way it left the lower one.
    double depth_slowness(double p, Family family, bool leaves_upward, double receiver) const;
};

/// What one thread keeps of a model.
struct OwnModel {
    explicit OwnModel(std::shared_ptr<const ModelRays> rays) : open(std::move(rays)) {}

    OpenModel open;
    FirstTimes first{open.rays()};
};

struct State {
    std::map<std::string, std::unique_ptr<OwnModel>> models;
    OwnModel* own = nullptr;
    OpenModel* model = nullptr;
    char model_name[kModelLength + 1] = "";
    SineCosine source_lat, receiver_lat;
    SourceEta source_eta;
    double distance = 0.0;           // rad
    double east = 0.0, north = 0.0;  // direction of propagation at the receiver
    std::vector<Arrival> arrivals;
    Answer<TTTime> times;
    Answer<TTSlow> slows;

    void add_model(const std::string& name, std::shared_ptr<const ModelRays> rays);
};

/// The hook's state, made when it has none. Throws std::bad_alloc.
State& state_of(Hook** hook);

/// Makes a model the current one; false after a logged line that begins with the caller's name.
bool open_model(State& state, const char* model, const char* caller);

/// Distance and direction of two points; false when a coordinate is not a number.
bool set_positions(State& state, const TTGeometry& geometry);

/// Whether a source or receiver may lie at depth z (km).
inline bool is_inside(const OpenModel& model, double z) {
    return z >= -kTopHeight && z <= model.deepest();
}

/// The result of a call that may throw; -1 after a logged line when it did.
template <class Call>
int guarded(const char* caller, Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        elog_log(1, "%s: malloc() error.\n", caller);
    } catch (const std::exception& failure) {
        elog_log(0, "%s: %s\n", caller, failure.what());
    }
    return -1;
}

}  // namespace velorix::tt
#endif

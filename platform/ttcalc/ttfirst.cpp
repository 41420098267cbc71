// The calls for many receivers.
#include <cstring>
#include <limits>

#include "platform/elog/elog.h"
#include "platform/ttcalc/state.h"

using namespace velorix::tt;

extern "C" TTReceivers* ttreceivers_new(int64_t n, const double* lat, const double* lon,
                                        const double* elev) {
    TTReceivers* made = nullptr;
    guarded("ttreceivers_new", [&] {
        const std::vector<double> surface(elev == nullptr ? static_cast<size_t>(n) : 0, 0.0);
        const double* heights = elev == nullptr ? surface.data() : elev;
        made = lon == nullptr ? new TTReceivers(n, lat, heights)
                              : new TTReceivers(n, lat, lon, heights);
        return 0;
    });
    return made;
}

extern "C" void ttreceivers_free(TTReceivers* receivers) { delete receivers; }

extern "C" int ttfirst(const char* method, const char* model, const TTPoint* source,
                       const TTReceivers* receivers, TTFirst* p, TTFirst* s, double* distance,
                       Hook** hook) {
    return guarded("ttfirst", [&] {
        if (strcmp(method, "tttaup") != 0) {
            elog_log(0, "ttfirst: unknown method '%.64s', only tttaup is known\n", method);
            return -1;
        }
        State& state = state_of(hook);
        if (!open_model(state, model, "ttfirst")) return -1;
        state.own->first.fill(state, *source, *receivers, p, s, distance);
        return 0;
    });
}

extern "C" Hook* ttshare(const Hook* hook) {
    Hook* made = nullptr;
    if (hook == nullptr) return made;
    const int status = guarded("ttshare", [&] {
        State& state = state_of(&made);
        for (const auto& [name, own] : static_cast<const State*>(hookstate(hook))->models)
            state.add_model(name, own->open.rays());
        return 0;
    });
    if (status != 0) freehook(&made);
    return made;
}

// Which search parameters are refused, and which are only warned of.
#include <cmath>
#include <string>

#include "grsubs/search_params.h"
#include "platform/elog/elog.h"
#include "support/grid_name.h"

namespace velorix {
namespace {

class Checker {
  public:
    explicit Checker(const SearchParams& sp)
        : sp_(sp), grid_(*sp.velorix), name_(name_text(sp.velorix->name)) {}

    bool check() {
        check_finite();
        check_window();
        check_block();
        check_threads();
        check_s();
        check_curve("p_weights", sp_.use_dwt, sp_.p_weights);
        check_curve("s_weights", sp_.use_dwts, sp_.s_weights);
        if (good_) warn();
        return good_;
    }

  private:
    void refuse(const char* key, const std::string& reason) {
        elog_log(0, "velorix_setup_search: %s %s for grid %s.\n", key, reason.c_str(),
                 name_.c_str());
        good_ = false;
    }

    void check_finite() {
        const struct {
            const char* key;
            double value;
        } reals[] = {{"cluster_twin", sp_.cluster_twin}, {"cluster_prewin", sp_.cluster_prewin},
                     {"p_max_resid", sp_.p_max_resid},   {"s_max_resid", sp_.s_max_resid},
                     {"det_tmin", sp_.det_tmin},         {"swt_dist_near", sp_.swt_dist_near},
                     {"swt_dist_far", sp_.swt_dist_far}, {"swt_wt_near", sp_.swt_wt_near},
                     {"swt_wt_far", sp_.swt_wt_far}};
        for (const auto& real : reals) {
            if (!std::isfinite(real.value)) refuse(real.key, "is not a finite number");
        }
        for (int i = 0; i < sp_.nstation_weights; ++i) {
            const station_weights_& entry = sp_.station_weights[i];
            if (!std::isfinite(entry.p_weight) || !std::isfinite(entry.s_weight)) {
                refuse("station_weights", "has a weight that is not a finite number");
            }
            if (!std::isfinite(entry.p_max_resid) || !std::isfinite(entry.s_max_resid)) {
                refuse("station_weights", "has a residual limit that is not a finite number");
            }
        }
    }

    void check_window() {
        if (sp_.cluster_twin <= 0) {
            refuse("cluster_twin", std::to_string(sp_.cluster_twin) + " is not above 0");
        }
        if (sp_.closest_stations < 0) refuse("closest_stations", "is below 0");
    }

    void check_block() {
        if (grid_.mode != VELORIX_MODE_REGULAR) return;
        check_count("nxd", sp_.nxd, grid_.nx);
        check_count("nyd", sp_.nyd, grid_.ny);
    }
    void check_count(const char* key, int count, int most) {
        if (count >= 1 && count <= most) return;
        refuse(key, std::to_string(count) + " is outside 1 .. " + std::to_string(most));
    }

    void check_threads() {
        const int made = sp_.owned ? sp_.owned->threads_made : 0;
        check_count("number_threads", sp_.number_threads, VELORIX_MOST_THREADS);
        if (made != 0 && sp_.number_threads != made) {
            refuse("number_threads", std::to_string(sp_.number_threads) + " was " +
                                         std::to_string(made) + " when the threads were made");
        }
    }

    void check_s() {
        if (grid_.S_times) return;
        if (sp_.try_S) refuse("try_S", "is set but there are no S times");
        if (sp_.associate_S) refuse("associate_S", "is set but there are no S times");
    }

    void check_curve(const char* key, int npts, const weights_* curve) {
        if (npts < 0 || (npts > 0 && !curve)) return refuse(key, "is missing");
        for (int i = 0; i < npts; ++i) {
            if (!std::isfinite(curve[i].distance) || !std::isfinite(curve[i].weight) ||
                !std::isfinite(curve[i].slope)) {
                return refuse(key, "has a number that is not finite");
            }
            if (i > 0 && !(curve[i].distance > curve[i - 1].distance)) {
                return refuse(key, "does not stand in increasing distance");
            }
        }
    }

    void warn() const {
        if (!grid_.P_times && grid_.S_times) complain("P picks", "P times");
        if (grid_.distances) return;
        if (sp_.closest_stations != 0) complain("closest_stations", "distances");
        if (sp_.use_dwt != 0) complain("p_weights", "distances");
        if (sp_.use_dwts != 0) complain("s_weights", "distances");
    }
    void complain(const char* what, const char* missing) const {
        elog_complain(0, "velorix_setup_search: %s cannot be used, grid %s has no %s.\n", what,
                      name_.c_str(), missing);
    }

    const SearchParams& sp_;
    const Velorix& grid_;
    const std::string name_;
    bool good_ = true;
};

}  // namespace

bool check_search(const SearchParams& sp) { return Checker(sp).check(); }

}  // namespace velorix

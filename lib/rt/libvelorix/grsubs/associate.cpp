// Pick by pick: P, S or neither of a solution.
#include <cmath>

#include "grsubs/internal.h"
#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "support/units.h"

namespace velorix {
namespace {

// The residual of a phase for which the grid has no time: larger than any limit.
constexpr double kNoTimeResidual = 1e10;

double azimuth_degrees(double azimuth) {
    const double degrees = azimuth * kDegreesPerRadian;
    return degrees >= 360.0 ? 0.0 : degrees;  // rounding just below a full circle
}

void clear_pick(PickList& pick) {
    pick.defining = 0;
    pick.associated = 0;
    pick.resid = 999.999;
    pick.defining_P = 0;
    pick.defining_S = 0;
    pick.ophase[0] = '\0';
    pick.stao = nullptr;
    pick.stao_obs = nullptr;
    pick.used_save = pick.used;
}

void link_station(StationObs& station) {
    station.minresid_P = nullptr;
    station.minresid_S = nullptr;
    for (int i = 0; i < station.nobs; ++i) {
        sta_obs2* obs = station.obs[i];
        if (!obs->plist) continue;
        obs->plist->stao_obs = obs;
        obs->plist->stao = &station;
        if (obs->used == 2) {
            obs->plist->defining_S = 1;
        } else if (obs->used != 0) {
            obs->plist->defining_P = 1;
        }
    }
}

void drop_from_slot(PickList& pick) {
    pick.defining = 0;
    pick.associated = 0;
}

/// What decides one pick.
struct Case {
    PickList* pick;
    double rp;
    double rs;
    double pmax;
    double smax;
    bool match;
    bool match_p;
    bool match_s;

    bool fits_p() const { return std::abs(rp) <= pmax && match_p; }
    bool fits_s() const { return std::abs(rs) <= smax && match_s; }
};

class Associator {
  public:
    Associator(SearchParams& sp, double etime, double elat, double elon, int32_t ix, int32_t iy,
               int32_t id)
        : sp_(sp), etime_(etime), elat_(elat), elon_(elon), ix_(ix), iy_(iy), id_(id) {}

    void decide(PickList& pick) {
        if (pick.used || !std::isfinite(pick.time)) return;
        const auto* site = static_cast<const Station*>(getarr(sp_.velorix->sta_arr, pick.sta));
        if (!site) return;
        Case c{&pick, 0, 0, 0, 0, false, false, false};
        set_limits(c);
        set_geometry(pick, *site);
        set_sifters(c);
        set_residuals(c, *site);
        set_provisional(c);
        if (pick.defining_P) {
            decide_p_member(c);
        } else if (pick.defining_S) {
            decide_s_member(c);
        } else {
            decide_non_member(c);
        }
    }
    int count() const { return count_; }

  private:
    void set_limits(Case& c) {
        if (velorix_get_station_weight(&sp_, c.pick->sta, nullptr, nullptr, &c.pmax, &c.smax) ==
            0) {
            return;
        }
        elog_complain(0, "velorix_setup_plist: velorix_get_station_weight() error.\n");
        c.pmax = 0;
        c.smax = 0;
    }

    void set_geometry(PickList& pick, const Station& site) const {
        const double elat = radians(elat_);
        const double elon = radians(elon_);
        const double slat = radians(site.lat);
        const double slon = radians(site.lon);
        double delta = 0;
        double azimuth = 0;
        dist(elat, elon, slat, slon, &delta, &azimuth);
        pick.esaz = azimuth_degrees(azimuth);
        dist(slat, slon, elat, elon, &delta, &azimuth);
        pick.delta = delta * kDegreesPerRadian;
        pick.seaz = azimuth_degrees(azimuth);
    }

    void set_sifters(Case& c) {
        c.match = sifted(c.pick->phase, sp_.phase_sifter, &sp_.hook_phase_sifter);
        c.match_p = sifted(c.pick->chan, sp_.p_channel_sifter, &sp_.hook_p_channel_sifter);
        c.match_s = sifted(c.pick->chan, sp_.s_channel_sifter, &sp_.hook_s_channel_sifter);
    }

    void set_residuals(Case& c, const Station& site) const {
        double p_time = -1.0;
        double s_time = -1.0;
        velorix_get_ttimes(sp_.velorix, site.index, ix_, iy_, id_, &p_time, &s_time);
        c.rp = p_time >= 0 ? c.pick->time - (etime_ + p_time) : kNoTimeResidual;
        c.rs = s_time >= 0 ? c.pick->time - (etime_ + s_time) : kNoTimeResidual;
    }

    static void set_phase(const Case& c, bool as_p) {
        PickList& pick = *c.pick;
        pick.resid = as_p ? c.rp : c.rs;
        pick.ophase[0] = as_p ? 'P' : 'S';
        pick.ophase[1] = '\0';
        if (pick.stao) pick.weight = as_p ? pick.stao->p_weight : pick.stao->s_weight;
    }

    static void set_provisional(const Case& c) {
        c.pick->weight = 1.0;
        set_phase(c, std::abs(c.rs) >= std::abs(c.rp));
    }

    /// False when the pick has no station whose slots it could fill.
    static bool take(const Case& c, bool as_p) {
        set_phase(c, as_p);
        c.pick->used_save = 1;
        c.pick->defining = 0;
        c.pick->associated = 0;
        return c.pick->stao != nullptr;
    }

    void decide_p_member(const Case& c) {
        if (!c.fits_p()) {
            if (sp_.associate_S) fall_back_to_s(c);
            return;
        }
        if (!take(c, true) || !c.match) return;
        PickList*& slot = c.pick->stao->minresid_P;
        if (!slot || std::abs(slot->resid) > std::abs(c.rp)) {
            if (slot) drop_from_slot(*slot);
            slot = c.pick;
        }
        slot->defining = 1;
        slot->associated = 1;
    }

    void decide_s_member(const Case& c) {
        if (!c.fits_s() || !take(c, false) || !c.match) return;
        PickList& held = hold_s_slot(c);
        held.defining = 1;
        held.associated = 1;
        ++count_;
    }

    void fall_back_to_s(const Case& c) {
        if (!c.fits_s() || !take(c, false)) return;
        hold_s_slot(c).associated = 1;
        ++count_;
    }

    /// Gives the station's S slot to the pick unless a better one has it; returns the holder.
    PickList& hold_s_slot(const Case& c) {
        PickList*& slot = c.pick->stao->minresid_S;
        if (slot && std::abs(slot->resid) > std::abs(c.rs)) {
            drop_from_slot(*slot);
            --count_;
            slot = c.pick;
        }
        if (!slot) slot = c.pick;
        return *slot;
    }

    void decide_non_member(const Case& c) {
        if (std::abs(c.rs) <= std::abs(c.rp) && sp_.associate_S) {
            if (!c.fits_s() || !take(c, false) || !c.pick->stao_obs->useforS) return;
            PickList*& slot = c.pick->stao->minresid_S;
            if (!slot) slot = c.pick;
            slot->associated = 1;
            ++count_;
            return;
        }
        if (!c.fits_p() || !take(c, true) || !c.pick->stao_obs->useforP) return;
        PickList*& slot = c.pick->stao->minresid_P;
        if (!slot) slot = c.pick;
        slot->associated = 1;
    }

    SearchParams& sp_;
    const double etime_;
    const double elat_;
    const double elon_;
    const int32_t ix_;
    const int32_t iy_;
    const int32_t id_;
    int count_ = 0;
};

}  // namespace
}  // namespace velorix

extern "C" int velorix_setup_plist(Tbl* stao_tbl, Tbl* plist_tbl, SearchParams* sp, double etime,
                                   double elat, double elon, int32_t ix, int32_t iy, int32_t id) {
    velorix::for_each_entry<PickList>(plist_tbl, velorix::clear_pick);
    velorix::for_each_entry<StationObs>(stao_tbl, velorix::link_station);
    velorix::Associator associator(*sp, etime, elat, elon, ix, iy, id);
    velorix::for_each_entry<PickList>(plist_tbl, [&](PickList& pick) { associator.decide(pick); });
    return associator.count();
}

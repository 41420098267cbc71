"""ObsPy's objects, known by what they carry, so that ObsPy is imported only to make some."""
import io

from ._optional import need


def _pick_row(pick):
    code = pick.waveform_id
    return {
        "time": pick.time.datetime,
        "network": code.network_code or "" if code else "",
        "station": code.station_code or "" if code else "",
        "location": code.location_code or "" if code else "",
        "channel": code.channel_code or "" if code else "",
        "phase": pick.phase_hint or "",
        "pick_id": str(pick.resource_id),
    }


def picks_in(given):
    """Rows of ObsPy's picks, of its events' picks, or what was given."""
    items = [given] if hasattr(given, "waveform_id") or hasattr(given, "picks") else given
    if not hasattr(items, "__iter__"):
        return given
    rows = []
    for item in items:
        if hasattr(item, "waveform_id"):
            rows.append(_pick_row(item))
        elif hasattr(item, "picks") and hasattr(item, "origins"):
            rows.extend(_pick_row(pick) for pick in item.picks)
        else:
            return given
    return rows


def stations_in(given):
    """Rows of an Inventory's stations, or what was given."""
    if not hasattr(given, "networks"):
        return given
    return [
        {
            "network": network.code,
            "station": station.code,
            "latitude": float(station.latitude),
            "longitude": float(station.longitude),
            "elevation": float(station.elevation),
            "starttime": station.start_date.datetime if station.start_date else None,
            "endtime": station.end_date.datetime if station.end_date else None,
        }
        for network in given.networks
        for station in network.stations
    ]


def catalog(quakeml):
    """An obspy.Catalog of a QuakeML text."""
    obspy = need("obspy", "an obspy.Catalog", "ObsPy")
    return obspy.read_events(io.BytesIO(quakeml), format="QUAKEML")

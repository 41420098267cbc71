"""QuakeML against the schema that ObsPy brings, and read by it.
Usage: quakeml.py FILE..."""
import sys

import obspy
from obspy.io.quakeml.core import _validate

for name in sys.argv[1:]:
    assert _validate(name, verbose=True), name
    catalogue = obspy.read_events(name)
    for event in catalogue:
        picks = {pick.resource_id for pick in event.picks}
        for arrival in event.preferred_origin().arrivals:
            assert arrival.pick_id in picks, (name, arrival)
    print(name, len(catalogue), "events")

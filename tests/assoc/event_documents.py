"""Event documents of velorix-assoc: every one as the schema says, tracks that hang together, and the
final ones of a followed stream the same as those of whole files.
Usage: event_documents.py BIN_FOLDER SOURCE_FOLDER"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import jsonschema

bin_folder, source = sys.argv[1:3]
schema = jsonschema.Draft202012Validator(json.load(open(source + "/docs/event.schema.json")))
assoc = [bin_folder + "/velorix-assoc", "-q", "--grids", "italy.vxg"]


def documents(text):
    out = [json.loads(line) for line in text.splitlines()]
    for document in out:
        error = next(schema.iter_errors(document), None)
        assert error is None, (error.message, list(error.path), document["kind"])
    return out


def without_track(document):
    return json.dumps({key: value for key, value in document.items() if key != "track_id"})


def check_tracks(stream):
    tracks = {}
    for document in stream:
        tracks.setdefault(document["track_id"], []).append(document)
    for track, reports in tracks.items():
        kinds = [report["kind"] for report in reports]
        versions = [report["version"] for report in reports]
        assert versions == sorted(set(versions)), (track, versions)
        assert kinds[-1] in ("final", "withdrawn"), (track, kinds)
        assert kinds[0] == "new" or kinds == ["final"], (track, kinds)
        assert all(kind == "revised" for kind in kinds[1:-1]), (track, kinds)
        for report in reports:
            assert (report["event_id"] is not None) == (report["kind"] == "final")


def follow_file(picks):
    """A file that grows while it is followed."""
    with open("growing.csv", "w") as growing:
        growing.write("".join(picks[:1]))
    with open("followed.jsonl", "w") as out:
        run = subprocess.Popen(assoc + ["--picks", "growing.csv", "--follow"], stdout=out)
    try:
        with open("growing.csv", "a") as growing:
            half = len(picks) // 2
            growing.write("".join(picks[1:half])[:-5])
            growing.flush()
            time.sleep(0.3)
            growing.write("".join(picks[1:half])[-5:] + "".join(picks[half:]))
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if any('"kind":"final"' in line for line in open("followed.jsonl")):
                break
            time.sleep(0.1)
    finally:
        run.terminate()
    assert run.wait() == 128 + 15, run.returncode
    return documents(open("followed.jsonl").read())


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for name in ("velorix.toml", "velmodel.tvel", "stations.txt", "picks.csv"):
        shutil.copy(source + "/examples/assoc/" + name, ".")
    parameters = open("velorix.toml").read()
    # A coarser mesh: the test is not about places.
    parameters = parameters.replace("nx = 41", "nx = 21").replace("ny = 47", "ny = 24")
    open("velorix.toml", "w").write(parameters)
    with open("italy.vxg", "wb") as grid:
        subprocess.run([bin_folder + "/velorix", "stations.txt"], stdout=grid, check=True,
                       stderr=subprocess.DEVNULL)
    batch = subprocess.run(assoc + ["--picks", "picks.csv", "--format", "json"], check=True,
                           capture_output=True, text=True).stdout
    with open("picks.csv") as picks:
        followed = subprocess.run(assoc + ["--picks", "-", "--follow"], check=True, stdin=picks,
                                  capture_output=True, text=True).stdout
    expected = [without_track(document) for document in documents(batch)]
    stream = documents(followed)
    check_tracks(stream)
    final = [without_track(document) for document in stream if document["kind"] == "final"]
    assert len(expected) > 40 and final == expected, (len(expected), len(final))
    growing = follow_file(open("picks.csv").readlines())
    final = [without_track(document) for document in growing if document["kind"] == "final"]
    assert final and final == expected[:len(final)]
    example = subprocess.run([bin_folder + "/associate", "italy.vxg", "picks.csv"], check=True,
                             capture_output=True, text=True).stdout
    assert example.count("final ") == len(expected), example
    print(len(stream), "documents,", len(expected), "final events")

"""The half hour of real picks of the examples, written as each kind of pick file, gives the same events.
Usage: pick_formats.py BIN_FOLDER SOURCE_FOLDER"""
import csv
import datetime
import json
import os
import shutil
import subprocess
import sys
import tempfile

bin_folder, source = sys.argv[1:3]
DAY = datetime.datetime(2016, 10, 14)
RATE = 100
OPTIONS = ["--sampling-rate", str(RATE), "--start", "2016-10-14"]


def clock(seconds, form="%Y-%m-%dT%H:%M:%S.%f"):
    return (DAY + datetime.timedelta(seconds=seconds)).strftime(form)


class Pick:
    def __init__(self, row):
        self.net, self.sta, self.cha = row["network"], row["station"], row["channel"]
        self.phase, self.weight = row["phase"], row["weight"]
        self.time = datetime.datetime.fromisoformat(row["time_iso"].rstrip("Z"))
        self.second = round((self.time - DAY).total_seconds(), 2)


def put(name, text):
    os.makedirs(os.path.dirname(name) or ".", exist_ok=True)
    with open(name, "w", newline="") as out:
        out.write(text)
    return name


def by_station(picks):
    groups = {}
    for pick in picks:
        groups.setdefault((pick.net, pick.sta), []).append(pick)
    return groups


def eqtransformer(picks):
    header = ("file_name,network,station,instrument_type,station_lat,station_lon,station_elv,event_start_time,"
              "event_end_time,detection_probability,detection_uncertainty,p_arrival_time,p_probability,"
              "p_uncertainty,p_snr,s_arrival_time,s_probability,s_uncertainty,s_snr")
    for (net, sta), group in by_station(picks).items():
        rows = [header]
        for pick in group:
            one = clock(pick.second, "%Y-%m-%d %H:%M:%S.%f") + "," + pick.weight + ",,5.1"
            rows.append(f"x,{net:<2},{sta:<4},{pick.cha[:2]},0,0,0,,,0.9,,"
                        + (one + ",,,,2.5" if pick.phase == "P" else ",,,2.8," + one))
        put(f"eqt/{sta}_outputs/X_prediction_results.csv", "\r\r\n".join(rows) + "\r\r\n")
    return "eqt"


def phasenet_windows(picks):
    rows = ["fname,itp,tp_prob,its,ts_prob"]
    for pick in picks:
        window = int(pick.second // 30) * 30 * RATE
        one = f"[{round(pick.second * RATE) - window}],[{pick.weight}]"
        rows.append(f"{pick.net}.{pick.sta}..{pick.cha}.mseed_{window},"
                    + (one + ",[],[]" if pick.phase == "P" else "[],[]," + one))
    return put("windows.csv", "\n".join(rows) + "\n")


def phasenet_tabs(picks):
    rows = ["fname\tt0\tp_idx\tp_prob\ts_idx\ts_prob"]
    for (net, sta), group in by_station(picks).items():
        row = [f"2016_10_14_{net}_{sta}_mseed" if len(sta) > 2 else f"{net}.{sta}..HH", clock(0)]
        for phase in "PS":
            some = [pick for pick in group if pick.phase == phase]
            row += ["[" + ",".join(str(round(pick.second * RATE)) for pick in some) + "]",
                    "[" + ",".join(pick.weight for pick in some) + "]"]
        rows.append("\t".join(row))
    return put("tabs.csv", "\n".join(rows) + "\n")


def table(name, header, row, separator=","):
    return lambda picks: put(name, separator.join(header) + "\n" + "".join(
        separator.join(row(i, pick)) + "\n" for i, pick in enumerate(picks)))


phasenet_times = table("times.csv", ["station_id", "begin_time", "phase_index", "phase_time", "phase_score",
                                     "phase_type"],
                       lambda i, p: [f"{p.net}.{p.sta}..{p.cha[:2]}", clock(0), "1", clock(p.second)[:-3],
                                     p.weight, p.phase])
seisbench = table("seisbench.csv", ["", "index", "station", "time", "probability", "phase"],
                  lambda i, p: [str(i), str(i), f"{p.net}.{p.sta}.", clock(p.second).replace("T", " "), p.weight,
                                p.phase])
gamma = table("gamma.csv", ["id", "timestamp", "prob", "type"],
              lambda i, p: [f"{p.net}.{p.sta}..{p.cha}", clock(p.second), p.weight, p.phase.lower()])
pyocto = table("pyocto.csv", ["station", "phase", "time", "event_idx"],
               lambda i, p: [f"{p.net}.{p.sta}.", p.phase, f"{1476403200 + p.second:.2f}", "0"])
spreadsheet = table("sheet.csv", ["network", "station", "phase", "time", "probability"],
                    lambda i, p: [p.net, p.sta, p.phase, clock(p.second, "%d.%m.%Y %H:%M:%S,%f"),
                                  p.weight.replace(".", ",")], ";")


def real_folder(picks):
    for pick in picks:
        name = f"real/20161014/{pick.net}.{pick.sta}.{pick.phase}.txt"
        os.makedirs(os.path.dirname(name), exist_ok=True)
        with open(name, "a") as out:
            out.write(f"{pick.second:.2f} {pick.weight} 0.0\n")
    return "real"


def minutes(picks):
    """Events as bags of the picks of a minute, which is all that formats by event need."""
    groups = {}
    for pick in picks:
        groups.setdefault(int(pick.second // 60), []).append(pick)
    return groups.items()


def real_phases(picks):
    rows = []
    for number, (minute, group) in enumerate(minutes(picks), 1):
        origin = 60 * minute
        rows.append(f"{number:5d} {clock(origin, '%Y %m %d %H:%M:%S.000'):>25s} {origin:12.3f} 0.1 42.8 13.2 6.0 "
                    "-inf nan 1 1 2 1 27.17")
        rows += [f"   {p.net} {p.sta} {p.phase} {p.second:.4f} {p.second - origin:.4f} 0.00e+00 0.1 {p.weight} 2.4"
                 for p in group]
    return put("phase_sel.txt", "\n".join(rows) + "\n")


def hypodd(picks):
    rows = []
    for number, (minute, group) in enumerate(minutes(picks), 1):
        rows.append(clock(60 * minute, "# %Y %m %d %H %M 0.00") + f" 42.8 13.2 6.0 0 0 0 0 {number}")
        rows += [f"{p.sta:<7s}{p.second - 60 * minute:10.3f}{-float(p.weight):8.3f}   {p.phase}" for p in group]
    return put("phase.dat", "\n".join(rows) + "\n")


def nonlinloc(picks):
    rows = []
    for minute, group in minutes(picks):
        stamp = clock(60 * minute, "%Y%m%d %H%M")
        rows += [f"{p.net + '_' + p.sta:<12s} ?    {p.cha} ? {p.phase:<6s} ? {stamp} {p.second - 60 * minute:9.4f} GAU "
                 "2.00e-02 -1.00e+00 -1.00e+00 -1.00e+00" for p in group] + [""]
    return put("picks.obs", "\n".join(rows) + "\n")


def hypoinverse(picks):
    rows = []
    for number, (minute, group) in enumerate(minutes(picks), 1):
        rows.append(clock(60 * minute, "%Y%m%d%H%M 000") + "42 4812 13E1267  600")
        for p in group:
            line = f"{p.sta:<5s}{p.net:<2s}  {p.cha} "
            stamp = clock(60 * minute, "%Y%m%d%H%M")
            second = f"{round(100 * (p.second - 60 * minute)):5d}"
            if p.phase == "P":
                line += f"IP 0{stamp}{second}"
            else:
                line += f" P 4{stamp} 9999-999  0{second}ES 0"
            rows.append(line)
        rows.append(" " * 62 + f"{number:10d}")
    return put("picks.arc", "\n".join(rows) + "\n")


def json_lines(picks):
    return put("picks.jsonl", "".join(json.dumps({"network": p.net, "station": p.sta, "phase": p.phase,
                                                  "time": clock(p.second) + "Z", "score": float(p.weight)}) + "\n"
                                      for p in picks))


FORMATS = [eqtransformer, phasenet_windows, phasenet_tabs, phasenet_times, seisbench, gamma, pyocto, spreadsheet,
           real_folder, real_phases, hypodd, nonlinloc, hypoinverse, json_lines]


def catalogue(path, options=()):
    run = subprocess.run([bin_folder + "/velorix-assoc", "-q", "--grids", "italy.vxg", "--picks", path, *options],
                         capture_output=True, text=True)
    assert run.returncode == 0, (path, run.stderr)
    return run.stdout


work = tempfile.mkdtemp()
try:
    os.chdir(work)
    for name in os.listdir(source + "/examples/assoc"):
        shutil.copy(os.path.join(source, "examples/assoc", name), ".")
    with open("italy.vxg", "wb") as grid:
        subprocess.run([bin_folder + "/velorix", "stations.txt"], stdout=grid, stderr=subprocess.DEVNULL, check=True)
    want = catalogue("picks.csv")
    assert want.splitlines()[-1] == "70 events", want.splitlines()[-1]
    with open("picks.csv") as text:
        picks = [Pick(row) for row in csv.DictReader(text)]
    for convert in FORMATS:
        path = convert(picks)
        got = catalogue(path, OPTIONS).splitlines()
        different = sum(one != other for one, other in zip(want.splitlines(), got))
        assert got == want.splitlines(), (path, got[-1], f"{different} lines differ")
        print(path, got[-1])
finally:
    shutil.rmtree(work)

"""Mutants: one operator, constant or condition of the code changed at a time, and the tests of its area run
to see whether they notice. Prints each mutant with what became of it, then those that survived.

Usage: mutants.py AREA COUNT SEED FOLDER [--list] [--only NUMBER...]
  AREA    assoc (lib/rt/libvelorixassoc) or lib (lib/rt/libvelorix)
  COUNT   mutants, spread over the files in proportion to what can be changed in them
  SEED    of the choice: the same seed, the same mutants of the same tree
  FOLDER  of a copy of the tree and its build; made when it is not there
"""
import os
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Programs in the order in which they notice soonest; seconds that each may take.
AREAS = {
    "assoc": ("lib/rt/libvelorixassoc",
              ["assoc_rules_test", "assoc_association_test", "assoc_judge_test",
               "assoc_location_numbers_test", "assoc_pick_files_test", "assoc_foreign_picks_test",
               "assoc_catalogue_test", "assoc_votes_test", "assoc_page_test", "assoc_tracks_test", "assoc_location_test",
               "assoc_associator_test", "assoc_program_test", "assoc_damaged_grid_test",
               "assoc_deliveries_test"]),
    "lib": ("lib/rt/libvelorix",
            ["arrival_selection_test", "backproj_test", "cluster_test", "associate_test",
             "picks_test", "weights_test", "search_params_test", "scan_test", "edp_test",
             "heap_test", "pass_test", "projection_test", "slow2d_test", "slowness_test",
             "source_list_test", "stations_test", "telegrid_test", "scan_skip_test",
             "check_times_test", "finite_times_test", "engine_memory_test", "info_test",
             "tool_test", "tool_cases_test"]),
}
TIME_LIMIT = 240

# Binary operators have blanks around them in formatted code; template brackets do not.
CHANGES = [
    (r" < ", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "),
    (r" == ", " != "), (r" != ", " == "), (r" && ", " || "), (r" \|\| ", " && "),
    (r" \+ ", " - "), (r" - ", " + "), (r" \* ", " / "), (r" / ", " * "),
    (r" \+= ", " -= "), (r" -= ", " += "), (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r"\bstd::max\(", "std::min("), (r"\bstd::min\(", "std::max("),
    (r"(?<=[\s(,{<=])(\d+)\.(\d+)(?=[\s),;}])", None),   # a real: half as much again
    (r"(?<=[\s(,{\[])(\d+)(?=[\s),;}\]])", None),          # a whole number: one more
    (r"\bif \((?=[^;{]*\)( return| continue| break| \{|$))", "if (!"),
]


def code_only(line):
    """The line with strings and comments blanked, as long as it was."""
    line = re.sub(r'"(\\.|[^"\\])*"', lambda m: '"' + "_" * (len(m[0]) - 2) + '"', line)
    line = re.sub(r"'(\\.|[^'\\])'", lambda m: "'" + "_" * (len(m[0]) - 2) + "'", line)
    return re.sub(r"//.*", lambda m: " " * len(m[0]), line)


def closing(code, start):
    """Place behind the bracket that closes the one before start; -1 when it is on another line."""
    depth = 1
    for i in range(start, len(code)):
        depth += {"(": 1, ")": -1}.get(code[i], 0)
        if depth == 0:
            return i + 1
    return -1


def mutants_of_line(line):
    """New lines, each with one change."""
    code = code_only(line)
    if not code.strip() or code.lstrip().startswith(("#", "*", "/*", "static_assert", "template")):
        return
    for pattern, new in CHANGES:
        for match in re.finditer(pattern, code):
            start, end = match.span()
            if pattern.startswith(r"\bif"):
                close = closing(code, end)
                if close > 0:
                    yield line[:end] + "!(" + line[end:close - 1] + ")" + line[close - 1:]
                continue
            text = new
            if new is None:
                value = match[0]
                text = repr(float(value) * 1.5 + (0.5 if float(value) == 0 else 0)) \
                    if "." in value else str(int(value) + 1)
            yield line[:start] + text + line[end:]


def sites(folder):
    out = {}
    for base, _, names in os.walk(os.path.join(ROOT, folder)):
        for name in sorted(names):
            if not name.endswith((".cpp", ".h")):
                continue
            path = os.path.relpath(os.path.join(base, name), ROOT)
            lines = open(os.path.join(ROOT, path)).read().split("\n")
            found = [(number, new) for number, line in enumerate(lines) for new in mutants_of_line(line)]
            if found:
                out[path] = found
    return dict(sorted(out.items()))


def choose(folder, count, seed):
    """Mutants spread over the files by the number of sites in each; some more than count, since some do
    not compile."""
    generator = random.Random(seed)
    found = sites(folder)
    total = sum(len(of_file) for of_file in found.values())
    chosen = []
    for path, of_file in found.items():
        share = 1.3 * count * len(of_file) / total
        number = int(share) + (generator.random() < share - int(share))
        chosen += [(path, number, new)
                   for number, new in generator.sample(of_file, min(number, len(of_file)))]
    generator.shuffle(chosen)
    return chosen


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)


class Tree:
    def __init__(self, folder, programs):
        self.source = os.path.join(folder, "tree")
        self.build = os.path.join(folder, "build")
        files = run(["git", "-C", ROOT, "ls-files", "--recurse-submodules"]).stdout.split("\n")
        for name in filter(None, files):
            to = os.path.join(self.source, name)
            os.makedirs(os.path.dirname(to), exist_ok=True)
            if not os.path.exists(to) or open(to, "rb").read() != open(os.path.join(ROOT, name), "rb").read():
                shutil.copy(os.path.join(ROOT, name), to)
        run(["cmake", "-S", self.source, "-B", self.build, "-DCMAKE_BUILD_TYPE=Release",
             "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DVELORIX_BENCHMARKS=OFF"])
        known = run(["cmake", "--build", self.build, "--target", "help"]).stdout
        self.programs = [p for p in programs if re.search(r"\b" + p + r"\b", known)]

    def compile(self):
        jobs = os.environ.get("JOBS", str(os.cpu_count()))
        extra = ["velorix", "velorix-info", "velorix-assoc"]
        return run(["cmake", "--build", self.build, "-j", jobs, "--target"] + self.programs + extra)

    def noticed_by(self):
        """The first program that fails; empty when none does."""
        for program in self.programs:
            try:
                done = run([os.path.join(self.build, "bin", program), "--gtest_fail_fast",
                            "--gtest_brief=1"], timeout=TIME_LIMIT, cwd=self.build)
            except subprocess.TimeoutExpired:
                return program + " (time)"
            if done.returncode != 0:
                return program
        return ""


def main():
    area, count, seed, folder = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
    only = [int(n) for n in sys.argv[sys.argv.index("--only") + 1:]] if "--only" in sys.argv else None
    code, programs = AREAS[area]
    chosen = choose(code, count, seed)
    if "--list" in sys.argv:
        for index, (path, number, new) in enumerate(chosen):
            print(f"{index} {path}:{number + 1}: {new.strip()}")
        return
    tree = Tree(folder, programs)
    built = tree.compile()
    assert built.returncode == 0, built.stdout[-2000:]
    assert tree.noticed_by() == "", "the tests fail without a mutant"
    survivors, tried, start = [], 0, time.monotonic()
    for index, (path, number, new) in enumerate(chosen):
        if tried == count or (only and index not in only):
            continue
        target = os.path.join(tree.source, path)
        text = open(os.path.join(ROOT, path)).read()
        lines = text.split("\n")
        old, lines[number] = lines[number], new
        open(target, "w").write("\n".join(lines))
        try:
            if tree.compile().returncode != 0:
                continue
            tried += 1
            by = tree.noticed_by()
            print(f"{index} {path}:{number + 1} {'killed by ' + by if by else 'SURVIVED'}\n"
                  f"    - {old.strip()}\n    + {new.strip()}", flush=True)
            if not by:
                survivors.append((index, path, number + 1, old.strip(), new.strip()))
        finally:
            open(target, "w").write(text)
    print(f"\n{tried - len(survivors)} of {tried} mutants of {code} killed (seed {seed}, "
          f"{time.monotonic() - start:.0f} s); survivors:")
    for index, path, number, old, new in survivors:
        print(f"{index} {path}:{number}\n    - {old}\n    + {new}")


main()

#!/usr/bin/env python3
"""Makes web/coastlines.txt, the compact table of coastlines and borders that the pages draw.

    npm pack world-atlas && tar xzf world-atlas-*.tgz
    python3 tools/coastlines/make_coastlines.py package/countries-10m.json > web/coastlines.txt

Source: Natural Earth, 1:10 million, admin 0 countries (public domain, naturalearthdata.com), in the
TopoJSON form of the npm package world-atlas 2.0.2. An arc that two countries share is a border, an
arc of one country a coastline.

Lines are thinned (Douglas and Peucker, 1973) until no left-out point lies further than a tolerance from
the line, then rounded. The tolerances were chosen for the size of a page: 1.4 km for coastlines,
twice that for borders, which are uncertain where they run through mountains anyway; islands smaller than
3 km are left out.

Form of the table: comment lines that begin with '#', then a line of coastlines and a line of borders.
Each point is two characters, the steps in longitude and latitude from the point before, in units of
0.01 degrees; a character stands for its place in ALPHABET less 42. '~' begins a line: behind it six digits in
base 85, three for the longitude plus 180 and three for the latitude plus 90, both in units.
"""
import json
import math
import sys

UNIT = 0.01  # degrees; 1.1 km
ALPHABET = "".join(c for c in map(chr, range(33, 126)) if c not in "\"&'<>\\`")[:85]
HALF = len(ALPHABET) // 2
COAST_TOLERANCE = 0.013  # degrees of latitude
BORDER_TOLERANCE = 0.026
SMALLEST_ISLAND = 0.03  # degrees across


def arcs_of(topology):
    """The arcs as lists of (longitude, latitude), and how many countries use each."""
    (sx, sy), (tx, ty) = topology["transform"]["scale"], topology["transform"]["translate"]
    arcs = []
    for packed in topology["arcs"]:
        x = y = 0
        line = []
        for dx, dy in packed:
            x, y = x + dx, y + dy
            line.append((x * sx + tx, y * sy + ty))
        arcs.append(line)
    users = [set() for _ in arcs]

    def visit(node, country):
        if isinstance(node, int):
            users[node if node >= 0 else ~node].add(country)
            return
        for part in node:
            visit(part, country)

    for number, country in enumerate(topology["objects"]["countries"]["geometries"]):
        visit(country.get("arcs", []), number)
    return arcs, [len(of) for of in users]


def thinned(line, tolerance):
    """Douglas and Peucker, in degrees with longitudes shortened by the latitude."""
    keep = [False] * len(line)
    keep[0] = keep[-1] = True
    stack = [(0, len(line) - 1)]
    while stack:
        first, last = stack.pop()
        ax, ay = line[first]
        bx, by = line[last]
        shorten = math.cos(math.radians((ay + by) / 2))
        dx, dy = (bx - ax) * shorten, by - ay
        length = dx * dx + dy * dy
        worst, at = 0.0, -1
        for i in range(first + 1, last):
            px, py = (line[i][0] - ax) * shorten, line[i][1] - ay
            along = min(1.0, max(0.0, (px * dx + py * dy) / length)) if length else 0.0
            off = math.hypot(px - along * dx, py - along * dy)
            if off > worst:
                worst, at = off, i
        if worst > tolerance:
            keep[at] = True
            stack += [(first, at), (at, last)]
    return [point for point, kept in zip(line, keep) if kept]


def is_small_island(line):
    closed = line[0] == line[-1]
    xs, ys = [p[0] for p in line], [p[1] for p in line]
    shorten = math.cos(math.radians(ys[0]))
    return closed and max((max(xs) - min(xs)) * shorten, max(ys) - min(ys)) < SMALLEST_ISLAND


def digits(value):
    base = len(ALPHABET)
    return ALPHABET[value // base // base] + ALPHABET[value // base % base] + ALPHABET[value % base]


def steps(fx, fy, tx, ty):
    """The way to the next point in steps that fit a character each."""
    count = max(1, math.ceil(max(abs(tx - fx), abs(ty - fy)) / HALF))
    x, y = fx, fy
    for i in range(1, count + 1):
        nx, ny = fx + round((tx - fx) * i / count), fy + round((ty - fy) * i / count)
        yield nx - x, ny - y
        x, y = nx, ny


def packed(line):
    points = []
    for lon, lat in line:
        point = (round((lon + 180) / UNIT), round((lat + 90) / UNIT))
        if not points or points[-1] != point:
            points.append(point)
    if len(points) < 2:
        return ""
    out = ["~", digits(points[0][0]), digits(points[0][1])]
    for (fx, fy), (tx, ty) in zip(points, points[1:]):
        out += [ALPHABET[dx + HALF] + ALPHABET[dy + HALF] for dx, dy in steps(fx, fy, tx, ty)]
    return "".join(out)


def along_meridian(line):
    """The cuts of the set at 180 degrees and at the pole, which are no coast."""
    return all(abs(abs(lon) - 180) < 1e-3 for lon, _ in line) or all(lat < -89.9 for _, lat in line)


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_coastlines.py countries-10m.json > coastlines.txt")
    with open(sys.argv[1], encoding="utf-8") as file:
        arcs, users = arcs_of(json.load(file))
    lines = {"coast": [], "border": []}
    for arc, count in zip(arcs, users):
        if count == 0 or along_meridian(arc) or (count == 1 and is_small_island(arc)):
            continue
        kind = "coast" if count == 1 else "border"
        lines[kind].append(packed(thinned(arc, COAST_TOLERANCE if count == 1 else BORDER_TOLERANCE)))
    print("# Coastlines and borders of Natural Earth (1:10 million, public domain, naturalearthdata.com),")
    print("# thinned and packed by tools/coastlines/make_coastlines.py, which describes the form.")
    print("".join(lines["coast"]))
    print("".join(lines["border"]))


if __name__ == "__main__":
    main()

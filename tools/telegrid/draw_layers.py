#!/usr/bin/env python3
"""Draws a map of every layer of the global source set, for docs/telegrid.md.

usage: draw_layers.py RECORDS FOLDER

RECORDS is the file that expand_telegrid writes: 24 bytes a record, latitude and longitude in degrees
and depth in km as little-endian doubles. FOLDER receives telegrid_15km.png and so on: equirectangular
maps, one source a dot, the 15 km layer in grey beneath the deeper ones.
"""
import struct
import sys
import zlib

WIDTH, HEIGHT = 1440, 720
DEPTHS_KM = (15, 50, 100, 200, 300, 600)
PAPER, GREY, GRATICULE = (255, 255, 255), (205, 205, 205), (235, 235, 235)
INK = {15: (40, 70, 140), 50: (0, 110, 90), 100: (60, 120, 20), 200: (190, 120, 0),
       300: (200, 60, 0), 600: (150, 0, 60)}


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))


def write_png(path, palette, rows):
    """An indexed-colour PNG (ISO/IEC 15948), four bits a pixel."""
    lines = b"".join(
        b"\0" + bytes(row[i] << 4 | row[i + 1] for i in range(0, WIDTH, 2)) for row in rows)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n")
        out.write(chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 4, 3, 0, 0, 0)))
        out.write(chunk(b"PLTE", bytes(value for colour in palette for value in colour)))
        out.write(chunk(b"IDAT", zlib.compress(lines, 9)))
        out.write(chunk(b"IEND", b""))


def blank_map():
    rows = [bytearray(WIDTH) for _ in range(HEIGHT)]
    for degrees in range(-150, 180, 30):
        for row in rows:
            row[(degrees + 180) * WIDTH // 360] = 1
    for degrees in range(-60, 90, 30):
        rows[(90 - degrees) * HEIGHT // 180] = bytearray([1] * WIDTH)
    return rows


def put_dots(rows, places, ink, size):
    for lat, lon in places:
        x = min(int((lon + 180.0) * WIDTH / 360.0), WIDTH - 1)
        y = min(int((90.0 - lat) * HEIGHT / 180.0), HEIGHT - 1)
        for row in rows[y:y + size]:
            for column in range(x, min(x + size, WIDTH)):
                row[column] = ink


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: draw_layers.py RECORDS FOLDER")
    with open(sys.argv[1], "rb") as records:
        layers = {depth: [] for depth in DEPTHS_KM}
        for lat, lon, depth in struct.iter_unpack("<ddd", records.read()):
            layers[int(depth)].append((lat, lon))
    for depth in DEPTHS_KM:
        rows = blank_map()
        if depth != DEPTHS_KM[0]:
            put_dots(rows, layers[DEPTHS_KM[0]], 2, 1)
        put_dots(rows, layers[depth], 3, 1 if depth == DEPTHS_KM[0] else 2)
        write_png(f"{sys.argv[2]}/telegrid_{depth}km.png", (PAPER, GRATICULE, GREY, INK[depth]),
                  rows)


if __name__ == "__main__":
    main()

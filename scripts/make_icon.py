#!/usr/bin/env python3
"""Draws the program's icon: make_icon.py Source/platform/windows/resource/tarn.ico

A tarn is a small mountain lake: two peaks, with their reflection in the water. Each size is drawn four times as large
and averaged, which smooths the edges.
"""
import struct
import sys
import zlib

SIZES = (16, 32, 48, 256)
SAMPLES = 4  # per pixel and direction

SKY, SNOW, ROCK, WATER, MIRROR = (214, 232, 245), (250, 252, 255), (74, 85, 104), (32, 96, 148), (22, 66, 106)
PEAKS = ((0.36, 0.20, 0.80), (0.70, 0.36, 0.95))  # place, top and slope, as shares of the width
SHORE = 0.62
CORNER = 0.18  # radius of the rounded corners


def height_over_peaks(x, y):
    """How far the point is below the nearest slope; negative above all slopes."""
    return max(y - top - abs(x - place) / slope for place, top, slope in PEAKS)


def color(x, y):
    """The colour of a point in the unit square, or None outside the rounded square."""
    dx, dy = (max(CORNER - v, v - 1 + CORNER, 0) for v in (x, y))
    if dx * dx + dy * dy > CORNER * CORNER:
        return None
    if y < SHORE:
        below = height_over_peaks(x, y)
        return SKY if below < 0 else SNOW if y < 0.40 and below < 0.16 else ROCK
    return MIRROR if height_over_peaks(x, 2 * SHORE - y) >= 0 else WATER


def draw(size):
    """The rows of the picture, each a list of (red, green, blue, alpha)."""
    scale = size * SAMPLES
    rows = []
    for row in range(size):
        pixels = []
        for column in range(size):
            points = [color((column * SAMPLES + i + 0.5) / scale, (row * SAMPLES + j + 0.5) / scale)
                      for i in range(SAMPLES) for j in range(SAMPLES)]
            inside = [point for point in points if point]
            mean = [sum(point[i] for point in inside) // len(inside) for i in range(3)] if inside else [0, 0, 0]
            pixels.append((*mean, 255 * len(inside) // len(points)))
        rows.append(pixels)
    return rows


def bitmap(rows):
    """A picture as icons hold small ones: a bitmap of 32 bits, bottom row first, and an empty mask."""
    size = len(rows)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    body = b"".join(bytes((b, g, r, a)) for row in reversed(rows) for r, g, b, a in row)
    return header + body + bytes((size + 31) // 32 * 4 * size)


def png(rows):
    """A picture as icons hold large ones."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    body = b"".join(b"\0" + bytes(v for pixel in row for v in pixel) for row in rows)
    header = struct.pack(">IIBBBBB", len(rows), len(rows), 8, 6, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(body, 9)) + chunk(b"IEND", b"")


def main():
    pictures = [(size, (png if size > 64 else bitmap)(draw(size))) for size in SIZES]
    place = 6 + 16 * len(pictures)
    directory, data = struct.pack("<HHH", 0, 1, len(pictures)), b""
    for size, picture in pictures:
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(picture), place + len(data))
        data += picture
    with open(sys.argv[1], "wb") as file:
        file.write(directory + data)


if __name__ == "__main__":
    main()

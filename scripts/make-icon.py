#!/usr/bin/env python3
"""Draws the window icon: a small relief map with hypsometric colours,
contour lines and a coordinate grid on a rounded square.

Usage: scripts/make-icon.py [output.png] [size]
Writes resources/MainDialog/relka.png (128 x 128) by default. Needs only the
Python standard library."""
import math
import os
import sys

import pngfile

HERE = os.path.dirname(os.path.abspath(__file__))
OUTPUT = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "..", "resources", "MainDialog", "relka.png")
SIZE = int(sys.argv[2]) if len(sys.argv) > 2 else 128
SUPERSAMPLE = 4

# (x, y, height, radius) of the hills, in units of the icon size.
HILLS = [(0.38, 0.40, 0.80, 0.20), (0.68, 0.64, 0.60, 0.16), (0.72, 0.26, 0.40, 0.11), (0.24, 0.78, 0.30, 0.13)]
# Hypsometric tints from the valley floor to the snow line.
TINTS = [(0.00, (46, 125, 50)), (0.25, (124, 179, 66)), (0.45, (220, 200, 110)),
         (0.65, (176, 120, 70)), (0.82, (130, 90, 70)), (0.92, (245, 245, 245))]
CONTOUR_STEP = 0.1
CORNER = 0.16


def elevation(x, y):
    h = 0.0
    for cx, cy, peak, radius in HILLS:
        h += peak * math.exp(-((x - cx) ** 2 + (y - cy) ** 2) / (2 * radius * radius))
    # A gentle ripple keeps the contours from looking like circles.
    h += 0.04 * math.sin(9 * x + 3 * y) * math.cos(7 * y - 2 * x)
    return max(0.0, min(1.0, h))


def tint(h):
    for (h0, c0), (h1, c1) in zip(TINTS, TINTS[1:]):
        if h <= h1:
            t = (h - h0) / (h1 - h0)
            return tuple(a + (b - a) * t for a, b in zip(c0, c1))
    return TINTS[-1][1]


def inside_rounded_square(x, y):
    r = CORNER
    dx = max(r - x, 0, x - (1 - r))
    dy = max(r - y, 0, y - (1 - r))
    return dx * dx + dy * dy <= r * r


def shade(x, y, e=0.004):
    # Light from the north-west, from the local slope.
    gx = (elevation(x + e, y) - elevation(x - e, y)) / (2 * e)
    gy = (elevation(x, y + e) - elevation(x, y - e)) / (2 * e)
    return max(0.55, min(1.25, 1.0 + 0.12 * (-gx - gy)))


def sample(x, y):
    if not inside_rounded_square(x, y):
        return (0, 0, 0, 0)
    h = elevation(x, y)
    r, g, b = (c * shade(x, y) for c in tint(h))
    # Contour lines where the height crosses a multiple of the step.
    level = h / CONTOUR_STEP
    distance = abs(level - round(level)) * CONTOUR_STEP
    e = 0.003
    slope = math.hypot(elevation(x + e, y) - elevation(x - e, y), elevation(x, y + e) - elevation(x, y - e)) / (2 * e)
    if h > 0.02 and distance < 0.0045 * max(slope, 0.3):
        r, g, b = r * 0.45, g * 0.4, b * 0.35
    # Faint graticule, like the degree lines of a map sheet.
    for line in (0.25, 0.5, 0.75):
        if abs(x - line) < 0.004 or abs(y - line) < 0.004:
            r, g, b = r * 0.8 + 40, g * 0.8 + 40, b * 0.8 + 60
    # Dark rim.
    if not inside_rounded_square((x - 0.5) * 1.035 + 0.5, (y - 0.5) * 1.035 + 0.5):
        r, g, b = 40, 55, 70
    return (min(255, r), min(255, g), min(255, b), 255)


def render():
    rows = []
    n = SUPERSAMPLE
    for py in range(SIZE):
        row = bytearray([0])
        for px in range(SIZE):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(n):
                for sx in range(n):
                    r, g, b, a = sample((px + (sx + 0.5) / n) / SIZE, (py + (sy + 0.5) / n) / SIZE)
                    acc[0] += r * a
                    acc[1] += g * a
                    acc[2] += b * a
                    acc[3] += a
            alpha = acc[3] / (n * n)
            if acc[3]:
                row += bytes(int(round(c / acc[3])) for c in acc[:3])
            else:
                row += b"\0\0\0"
            row.append(int(round(alpha)))
        rows.append(bytes(row))
    return b"".join(rows)


def main():
    with open(OUTPUT, "wb") as f:
        f.write(pngfile.encode(SIZE, SIZE, 6, render()))


if __name__ == "__main__":
    main()

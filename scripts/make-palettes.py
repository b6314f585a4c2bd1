#!/usr/bin/env python3
"""Writes the built-in elevation palettes as PNG pictures.

Each palette is a ramp through a few key colours, every channel changing
linearly between two consecutive keys. palette1.png and palette2.png hold the
ramp at 960 x 16 (the program reads the top row); palette1a.png and
palette2a.png are 240 x 16 strips of the same ramp for the settings dialog.

    scripts/make-palettes.py            rewrite the four pictures
    scripts/make-palettes.py --check    only compare them, exit 1 on a difference

Standard library only (PNG writing in pngfile.py beside this script).
"""

import argparse
import pathlib
import struct
import sys
import zlib
from fractions import Fraction

import pngfile

# (index, red, green, blue) at the key indices of the 960-colour ramp.
PALETTE1 = [
    (0, 200, 215, 133), (3, 168, 195, 144), (17, 172, 200, 167), (30, 181, 210, 180),
    (50, 170, 218, 177), (70, 145, 221, 168), (88, 132, 204, 139), (110, 109, 190, 92),
    (121, 108, 189, 81), (134, 114, 189, 98), (159, 124, 198, 153), (173, 142, 200, 169),
    (188, 169, 202, 169), (206, 195, 212, 147), (231, 217, 213, 93), (249, 221, 207, 63),
    (272, 231, 208, 36), (286, 240, 209, 16), (316, 250, 188, 0), (344, 236, 162, 0),
    (377, 196, 158, 3), (389, 190, 160, 23), (411, 195, 176, 73), (439, 216, 197, 122),
    (488, 243, 223, 167), (525, 251, 235, 189), (570, 249, 249, 229), (606, 238, 253, 247),
    (651, 219, 255, 252), (714, 216, 252, 252), (756, 195, 247, 249), (790, 158, 238, 244),
    (824, 102, 220, 240), (869, 21, 184, 239), (887, 0, 165, 241), (934, 0, 108, 248),
    (955, 0, 81, 250), (959, 0, 80, 250),
]

PALETTE2 = [
    (0, 182, 186, 162), (4, 170, 177, 163), (28, 190, 198, 190), (48, 188, 202, 190),
    (73, 170, 192, 176), (97, 148, 169, 147), (114, 129, 154, 122), (126, 130, 152, 122),
    (150, 146, 168, 151), (173, 162, 180, 170), (191, 182, 190, 180), (211, 183, 186, 164),
    (239, 170, 166, 128), (264, 163, 158, 111), (288, 162, 152, 94), (328, 161, 139, 87),
    (357, 145, 125, 77), (377, 129, 117, 71), (391, 133, 125, 85), (419, 161, 156, 129),
    (447, 189, 184, 163), (498, 222, 216, 200), (551, 238, 236, 226), (594, 247, 249, 247),
    (657, 232, 242, 241), (718, 229, 239, 239), (761, 212, 228, 228), (806, 172, 201, 204),
    (871, 96, 146, 162), (889, 84, 134, 158), (959, 87, 112, 163),
]

RAMP_LENGTH = 960
STRIP_LENGTH = 240
HEIGHT = 16


def round_half_up(value):
    return int((value + Fraction(1, 2)) // 1)


def ramp_color(keys, position):
    """The colour at a (possibly fractional) index of the ramp, exactly rounded."""
    for (left, *low), (right, *high) in zip(keys, keys[1:]):
        if left <= position <= right:
            share = Fraction(position - left) / (right - left)
            return tuple(round_half_up(a + (b - a) * share) for a, b in zip(low, high))
    raise ValueError(f"index {position} outside the key entries")


def ramp(keys, length):
    """length colours spread evenly from the first to the last key index."""
    last = keys[-1][0]
    return [ramp_color(keys, Fraction(x * last, length - 1)) for x in range(length)]


def png(row, height):
    """An RGB picture, 8 bits per channel, whose rows all equal row."""
    line = b"\x00" + bytes(channel for color in row for channel in color)
    return pngfile.encode(len(row), height, 2, line * height)


def content(data):
    """Header and uncompressed scan lines, so that another zlib's output still compares equal."""
    header, scanlines, offset = None, b"", 8
    while offset < len(data):
        (length,), kind = struct.unpack(">I", data[offset:offset + 4]), data[offset + 4:offset + 8]
        body = data[offset + 8:offset + 8 + length]
        if kind == b"IHDR":
            header = body
        elif kind == b"IDAT":
            scanlines += body
        offset += 12 + length
    return header, zlib.decompress(scanlines)


def pictures():
    for number, keys in ((1, PALETTE1), (2, PALETTE2)):
        yield f"palette{number}.png", png(ramp(keys, RAMP_LENGTH), HEIGHT)
        yield f"palette{number}a.png", png(ramp(keys, STRIP_LENGTH), HEIGHT)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="compare instead of writing")
    parser.add_argument("--directory", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parent.parent / "resources" / "Palette")
    arguments = parser.parse_args()
    stale = []
    for name, data in pictures():
        path = arguments.directory / name
        if arguments.check:
            if not path.is_file() or content(path.read_bytes()) != content(data):
                stale.append(name)
        else:
            path.write_bytes(data)
    if stale:
        print("out of date: " + ", ".join(stale), file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

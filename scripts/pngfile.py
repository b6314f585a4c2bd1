"""PNG writing for the picture generators, standard library only: the
chunks are written with zlib and struct."""

import struct
import zlib


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))


def encode(width, height, colour_type, scanlines):
    """A PNG with 8 bits per channel; scanlines holds every row, each led by its filter byte."""
    header = struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(scanlines, 9)) + chunk(b"IEND", b""))

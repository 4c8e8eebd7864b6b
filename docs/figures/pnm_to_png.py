#!/usr/bin/python3
"""Turns PGM and PPM pictures (P5, P6, 8 bits) into PNG: pnm_to_png.py IN OUT [IN OUT ...]"""
import struct
import sys
import zlib


def read(path):
    data = open(path, "rb").read()
    kind, width, height, largest = data.split(None, 4)[:4]
    channels = {b"P5": 1, b"P6": 3}[kind]
    width, height = int(width), int(height)
    assert largest == b"255", path
    pixels = data[-width * height * channels:]
    # One blank byte ends the header, so that what is left before the pixels is known.
    header = b" ".join([kind, b"%d %d" % (width, height), largest])
    assert len(data) == len(pixels) + len(header) + 1, path
    return width, height, channels, pixels


def chunk(name, body):
    return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))


def write(path, width, height, channels, pixels):
    line = width * channels
    rows = b"".join(b"\0" + pixels[y * line:(y + 1) * line] for y in range(height))
    colour = {1: 0, 3: 2}[channels]
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        file.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, colour, 0, 0, 0)))
        file.write(chunk(b"IDAT", zlib.compress(rows, 9)))
        file.write(chunk(b"IEND", b""))


for source, target in zip(sys.argv[1::2], sys.argv[2::2]):
    write(target, *read(source))

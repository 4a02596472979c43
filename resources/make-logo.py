#!/usr/bin/env python3
"""Draws the 289 x 63 word mark Velmora-logo.png: 8-bit indexed colour, standard library only.

Run it from anywhere; it writes the PNG beside itself.
"""
import os
import struct
import zlib

WIDTH, HEIGHT = 289, 63
PALETTE = [
    (0x1F, 0x3A, 0x5F),  # 0: background, deep blue
    (0xFF, 0xFF, 0xFF),  # 1: letters
    (0x3F, 0xB8, 0xAF),  # 2: accent bar
]

# 5 x 7 glyphs, one string per row, '#' is ink.
GLYPHS = {
    "V": ["#...#", "#...#", "#...#", "#...#", "#...#", ".#.#.", "..#.."],
    "E": ["#####", "#....", "#....", "####.", "#....", "#....", "#####"],
    "L": ["#....", "#....", "#....", "#....", "#....", "#....", "#####"],
    "M": ["#...#", "##.##", "#.#.#", "#.#.#", "#...#", "#...#", "#...#"],
    "O": [".###.", "#...#", "#...#", "#...#", "#...#", "#...#", ".###."],
    "R": ["####.", "#...#", "#...#", "####.", "#.#..", "#..#.", "#...#"],
    "A": [".###.", "#...#", "#...#", "#####", "#...#", "#...#", "#...#"],
}
WORD = "VELMORA"
SCALE = 6  # pixels per glyph dot
GAP = 6  # pixels between letters


def draw():
    pixels = [[0] * WIDTH for _ in range(HEIGHT)]
    word_width = len(WORD) * 5 * SCALE + (len(WORD) - 1) * GAP
    left = (WIDTH - word_width) // 2
    top = 6
    for index, letter in enumerate(WORD):
        x0 = left + index * (5 * SCALE + GAP)
        for row, line in enumerate(GLYPHS[letter]):
            for column, dot in enumerate(line):
                if dot != "#":
                    continue
                for y in range(top + row * SCALE, top + (row + 1) * SCALE):
                    for x in range(x0 + column * SCALE, x0 + (column + 1) * SCALE):
                        pixels[y][x] = 1
    for y in range(HEIGHT - 9, HEIGHT - 5):
        for x in range(left, left + word_width):
            pixels[y][x] = 2
    return pixels


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def png(pixels):
    header = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 3, 0, 0, 0)  # 8 bits, indexed colour
    palette = b"".join(bytes(colour) for colour in PALETTE)
    raw = b"".join(b"\x00" + bytes(row) for row in pixels)  # filter type 0 on every row
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"PLTE", palette)
            + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


if __name__ == "__main__":
    target = os.path.join(os.path.dirname(os.path.abspath(__file__)), "Velmora-logo.png")
    with open(target, "wb") as out:
        out.write(png(draw()))

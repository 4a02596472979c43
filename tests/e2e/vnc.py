#!/usr/bin/env python3
"""A small VNC client (RFB 3.3, raw pixels) for tests/e2e/instrument. Each run connects to the
screen on 127.0.0.1:5900, waiting up to a minute for it, and does one thing:
  vnc.py shot FILE     saves the whole screen as a PNG and prints its size, WIDTHxHEIGHT
  vnc.py click X Y     presses and releases the left button there (a finger's tap)
  vnc.py key F12       presses and releases F12
"""
import socket
import struct
import sys
import time
import zlib


def receive(connection, size):
    data = bytearray()
    while len(data) < size:
        piece = connection.recv(size - len(data))
        if not piece:
            sys.exit("the VNC server closed the connection")
        data += piece
    return bytes(data)


def connect():
    for _ in range(600):
        try:
            connection = socket.create_connection(("127.0.0.1", 5900))
            break
        except OSError:
            time.sleep(0.1)
    else:
        sys.exit("no VNC server on 127.0.0.1:5900")
    receive(connection, 12)
    connection.sendall(b"RFB 003.003\n")
    if struct.unpack(">I", receive(connection, 4))[0] != 1:
        sys.exit("the VNC server asks for a password")
    connection.sendall(b"\x01")  # shared: the screen stays up for the next run
    width, height = struct.unpack(">HH", receive(connection, 4))
    receive(connection, 16)
    receive(connection, struct.unpack(">I", receive(connection, 4))[0])
    # Pixels as blue, green, red and a pad byte, uncompressed.
    connection.sendall(struct.pack(">B3xBBBBHHHBBB3x", 0, 32, 24, 0, 1, 255, 255, 255, 16, 8, 0)
                       + struct.pack(">BBHi", 2, 0, 1, 0))
    return connection, width, height


def shot(connection, width, height, path):
    screen = bytearray(width * height * 4)
    connection.sendall(struct.pack(">BBHHHH", 3, 0, 0, 0, width, height))
    while True:
        kind = receive(connection, 1)[0]
        if kind == 2:  # bell
            continue
        if kind != 0:
            sys.exit(f"unexpected VNC message {kind}")
        receive(connection, 1)
        for _ in range(struct.unpack(">H", receive(connection, 2))[0]):
            x, y, w, h, encoding = struct.unpack(">HHHHi", receive(connection, 12))
            if encoding != 0:
                sys.exit(f"unexpected VNC encoding {encoding}")
            pixels = receive(connection, w * h * 4)
            for row in range(h):
                start = ((y + row) * width + x) * 4
                screen[start:start + w * 4] = pixels[row * w * 4:(row + 1) * w * 4]
        break
    rgb = bytearray(width * height * 3)
    rgb[0::3], rgb[1::3], rgb[2::3] = screen[2::4], screen[1::4], screen[0::4]
    rows = b"".join(b"\0" + rgb[row * width * 3:(row + 1) * width * 3] for row in range(height))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    with open(path, "wb") as png:
        png.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
                  + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def main():
    connection, width, height = connect()
    if sys.argv[1] == "shot":
        shot(connection, width, height, sys.argv[2])
        print(f"{width}x{height}")
        return
    if sys.argv[1] == "click":
        x, y = int(sys.argv[2]), int(sys.argv[3])
        connection.sendall(struct.pack(">BBHH", 5, 1, x, y) + struct.pack(">BBHH", 5, 0, x, y))
    elif sys.argv[1] == "key" and sys.argv[2] == "F12":
        connection.sendall(struct.pack(">BBHI", 4, 1, 0, 0xFFC9) + struct.pack(">BBHI", 4, 0, 0, 0xFFC9))
    else:
        sys.exit(__doc__)
    # A screen sent after the events is sent after the server took them in.
    shot(connection, width, height, "/dev/null")


main()

#!/usr/bin/env python3
"""A small VNC client (RFB 3.3, raw pixels) for tests/e2e/instrument. Each run connects to the
screen on 127.0.0.1:5900, waiting up to a minute for it, and does one thing:
  vnc.py shot FILE   saves the screen as a PPM picture
  vnc.py click X Y   taps the left button there
  vnc.py F12         presses and releases F12
"""
import socket
import struct
import sys
import time


def receive(size):
    data = stream.read(size)
    if len(data) < size:
        sys.exit("the VNC server closed the connection")
    return data


def shot(connection, width, height):
    screen = bytearray(width * height * 4)
    connection.sendall(struct.pack(">BBHHHH", 3, 0, 0, 0, width, height))
    receive(2)  # the update's type and a pad byte
    for _ in range(struct.unpack(">H", receive(2))[0]):
        x, y, w, h, _ = struct.unpack(">HHHHi", receive(12))
        pixels = receive(w * h * 4)
        for row in range(h):
            start = ((y + row) * width + x) * 4
            screen[start:start + w * 4] = pixels[row * w * 4:(row + 1) * w * 4]
    rgb = bytearray(width * height * 3)
    rgb[0::3], rgb[1::3], rgb[2::3] = screen[2::4], screen[1::4], screen[0::4]
    return rgb


for _ in range(600):
    try:
        connection = socket.create_connection(("127.0.0.1", 5900))
        break
    except OSError:
        time.sleep(0.1)
else:
    sys.exit("no VNC server on 127.0.0.1:5900")
stream = connection.makefile("rb")
receive(12)
connection.sendall(b"RFB 003.003\n")
receive(4)  # no password
connection.sendall(b"\x01")  # shared, so that the screen stays for the next run
width, height, _, name = struct.unpack(">HH16sI", receive(24))
receive(name)
# Blue, green, red and a pad byte for each pixel, uncompressed.
connection.sendall(struct.pack(">B3xBBBBHHHBBB3x", 0, 32, 24, 0, 1, 255, 255, 255, 16, 8, 0)
                   + struct.pack(">BBHi", 2, 0, 1, 0))
if sys.argv[1] == "shot":
    with open(sys.argv[2], "wb") as picture:
        picture.write(b"P6 %d %d 255\n" % (width, height) + shot(connection, width, height))
    sys.exit()
if sys.argv[1] == "click":
    x, y = int(sys.argv[2]), int(sys.argv[3])
    connection.sendall(struct.pack(">BBHH", 5, 1, x, y) + struct.pack(">BBHH", 5, 0, x, y))
elif sys.argv[1] == "F12":
    connection.sendall(struct.pack(">BBHI", 4, 1, 0, 0xFFC9) + struct.pack(">BBHI", 4, 0, 0, 0xFFC9))
else:
    sys.exit(__doc__)
shot(connection, width, height)  # sent once the server has taken the events in

#!/usr/bin/env python3
"""Drives the emulated instrument that instrument/make-image builds: qemu-system-aarch64 with the
instrument's panel (virtio-gpu, 1280 x 800), USB keyboard, tablet and stick, no network device, and
its serial line drained all the time (the emulator stalls on a full one). Used by the system test
(tests/e2e/emulated-instrument), the start-up benchmark (bench/instrument-startup) and
instrument/run, which opens it in a window (GTK) to be worked with the mouse, the serial shell
on the terminal:
  instrument/emulator.py IMAGE_FOLDER
"""
import json
import os
import re
import socket
import subprocess
import sys
import threading
import time

PATIENCE = 240  # seconds for anything the emulated instrument does; met waits end at once


def qemu_command(image, work, window, keyboard=True):
    """The emulator for an image of instrument/make-image: BusyBox in the initrd, or with a disk
    (root.img) a Debian system with systemd, whose kernel console is on the panel as well."""
    command = ["qemu-system-aarch64", "-M", "virt", "-cpu", "cortex-a53", "-smp", "2",
               "-kernel", image + "/vmlinuz", "-initrd", image + "/initrd",
               "-device", "virtio-gpu-pci,xres=1280,yres=800",
               "-device", "qemu-xhci", "-device", "usb-tablet",
               "-drive", "if=none,id=stick,format=raw,file=" + work + "/stick.img",
               "-device", "usb-storage,drive=stick,id=stickdevice,removable=on",
               "-nic", "none", "-no-reboot"]
    if os.path.exists(image + "/root.img"):
        command += ["-m", "1024", "-append", "console=tty0 console=ttyAMA0 quiet",
                    "-drive", "if=none,id=root,format=raw,snapshot=on,file=" + image + "/root.img",
                    "-device", "virtio-blk-pci,drive=root"]
    else:
        command += ["-m", "512", "-append", "console=ttyAMA0 rdinit=/sbin/init quiet"]
    if keyboard:
        command += ["-device", "usb-kbd,id=keyboard"]
    if window:
        return command + ["-display", "gtk", "-serial", "mon:stdio"]
    return command + ["-display", "none",
                      "-chardev", "socket,id=serial,path=%s/serial,server=on,wait=on" % work,
                      "-serial", "chardev:serial",
                      "-qmp", "unix:%s/qmp,server=on,wait=off" % work]


class Instrument:
    def __init__(self, image, work, keyboard=True):
        self.work = work
        self.serial_text = ""
        self.events = []
        self.lock = threading.Condition()
        self.emulator = subprocess.Popen(qemu_command(image, work, False, keyboard))
        self.serial = self.connect(work + "/serial")
        threading.Thread(target=self.drain, daemon=True).start()
        self.qmp = self.connect(work + "/qmp").makefile("rw")
        self.qmp.readline()
        self.command("qmp_capabilities")

    @staticmethod
    def connect(path):
        for _ in range(600):
            try:
                connection = socket.socket(socket.AF_UNIX)
                connection.connect(path)
                return connection
            except OSError:
                time.sleep(0.1)
        sys.exit("FAIL: no emulator socket " + path)

    def drain(self):
        while True:
            data = self.serial.recv(65536)
            if not data:
                return
            text = data.decode(errors="replace")
            sys.stderr.write(text)
            with self.lock:
                self.serial_text += text
                self.lock.notify_all()

    def command(self, name, **arguments):
        self.qmp.write(json.dumps({"execute": name, "arguments": arguments}) + "\n")
        self.qmp.flush()
        while True:
            reply = json.loads(self.qmp.readline())
            if "event" in reply:
                self.events.append(reply)
            elif "error" in reply:
                sys.exit("FAIL: %s: %s" % (name, reply["error"]))
            else:
                return reply["return"]

    def mark(self):
        """Where the serial line's text stands now, for expect_serial to read on from."""
        with self.lock:
            return len(self.serial_text)

    def expect_serial(self, pattern, failure, since=0):
        deadline = time.time() + PATIENCE
        with self.lock:
            while not re.search(pattern, self.serial_text[since:]):
                if time.time() > deadline or self.emulator.poll() is not None:
                    sys.exit("FAIL: " + failure)
                self.lock.wait(1)

    def shell(self, line):
        self.serial.sendall(line.encode() + b"\n")

    def screen(self):
        """The panel as rows of RGB bytes."""
        path = self.work + "/screen.ppm"
        self.command("screendump", filename=path)
        with open(path, "rb") as picture:
            data = picture.read()
        header = data.split(b"\n", 3)
        width, height = map(int, header[1].split())
        return width, height, header[3]

    def crop(self, box):
        """The rows of a box (left, top, right, bottom) of the panel."""
        width, _, pixels = self.screen()
        left, top, right, bottom = box
        return [pixels[(y * width + left) * 3:(y * width + right) * 3] for y in range(top, bottom)]

    def read(self, box):
        """The text in a box of the panel, read at twice its size."""
        left, top, right, bottom = box
        rows = []
        for row in self.crop(box):
            wide = bytearray(len(row) * 2)
            for channel in range(3):
                wide[channel::6] = row[channel::3]
                wide[channel + 3::6] = row[channel::3]
            rows += [bytes(wide)] * 2
        crop = self.work + "/crop.ppm"
        with open(crop, "wb") as picture:
            picture.write(b"P6 %d %d 255\n" % ((right - left) * 2, (bottom - top) * 2))
            picture.write(b"".join(rows))
        result = subprocess.run(["tesseract", crop, "-", "--psm", "6"], capture_output=True,
                                text=True)
        return " ".join(result.stdout.split())

    def expect_text(self, box, text, failure):
        deadline = time.time() + PATIENCE
        while True:
            seen = self.read(box)
            if text in seen:
                return seen
            if time.time() > deadline:
                sys.exit("FAIL: %s (\"%s\" not there; it reads: %s)" % (failure, text, seen))
            time.sleep(1)

    def touch(self, gesture):
        self.shell("echo %s > /run/touchpanel" % gesture)


def make_stick(work):
    """An empty FAT stick of 64 MB, as the instrument's console expects one."""
    subprocess.run(["mkfs.vfat", "-C", "-n", "KINGSTON", work + "/stick.img", "65536"], check=True,
                   stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    folder = sys.argv[1]
    stick = os.path.join(os.environ.get("TMPDIR", "/tmp"), "ostrel-instrument-%d" % os.getpid())
    os.makedirs(stick)
    make_stick(stick)
    os.execvp("qemu-system-aarch64", qemu_command(folder, stick, True))

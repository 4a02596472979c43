#!/usr/bin/env python3
"""Drives the emulated instrument that instrument/make-image builds: qemu-system-aarch64 with the
instrument's panel (virtio-gpu, 1280 x 800), USB keyboard, tablet and stick, no network device, and
its serial line drained all the time (the emulator stalls on a full one). Used by the system test
(tests/e2e/emulated-instrument), the start-up benchmark (bench/instrument-startup) and
instrument/run, which opens it in a window (GTK) to be worked with the mouse, the serial shell
on the terminal:
  instrument/emulator.py IMAGE_FOLDER

    with Instrument(image) as instrument:
        instrument.expect_serial("instrument: ready", "the instrument did not start")

Every wait ends as soon as what it waits for is there, or after PATIENCE with an InstrumentError.
"""
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

PATIENCE = 240  # seconds for anything the emulated instrument does; met waits end at once


class InstrumentError(Exception):
    """What the emulated instrument did not do, or the emulator itself."""


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
    """One run of the emulated instrument, in a work folder of its own with an empty FAT stick of
    64 MB ("KINGSTON") holding the files given by name. Entered, it boots; left, the emulator is
    ended and the folder removed. In a window, the serial line is this terminal's, and wait()
    waits for the emulator to end."""

    def __init__(self, image, keyboard=True, window=False, stick_files=None):
        self.image = image
        self.keyboard = keyboard
        self.window = window
        self.stick_files = stick_files or {}
        self.work = None
        self.emulator = None
        self.serial_text = ""
        self.events = []
        self.lock = threading.Lock()

    @property
    def is_systemd(self):
        return os.path.exists(self.image + "/root.img")

    @property
    def stick(self):
        """The stick's FAT image on this machine, for mtools."""
        return self.work + "/stick.img"

    def __enter__(self):
        self.work = tempfile.mkdtemp(prefix="ostrel-instrument-")
        try:
            subprocess.run(["mkfs.vfat", "-C", "-n", "KINGSTON", self.stick, "65536"], check=True,
                           stdout=subprocess.DEVNULL)
            for name, path in self.stick_files.items():
                subprocess.run(["mcopy", "-i", self.stick, path, "::" + name], check=True)
            self.started = time.time()
            command = qemu_command(self.image, self.work, self.window, self.keyboard)
            self.emulator = subprocess.Popen(command)
            if not self.window:
                self.serial = self._connect(self.work + "/serial")
                threading.Thread(target=self._drain, daemon=True).start()
                self.qmp = self._connect(self.work + "/qmp").makefile("rw")
                self.qmp.readline()
                self.command("qmp_capabilities")
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *exception):
        if self.emulator and self.emulator.poll() is None:
            self.emulator.kill()
        if self.emulator:
            self.emulator.wait()
        shutil.rmtree(self.work, ignore_errors=True)
        return False

    def wait_for(self, condition, failure, interval=1.0, patience=PATIENCE):
        """What the condition gives once it gives anything true, asked every interval seconds.
        Raises InstrumentError with the failure (a text, or a function of the last answer) when
        the patience is over, or when the emulator has ended and the condition still fails."""
        deadline = time.time() + patience
        while True:
            answer = condition()
            if answer:
                return answer
            if time.time() > deadline or self.emulator.poll() is not None:
                raise InstrumentError(failure(answer) if callable(failure) else failure)
            time.sleep(interval)

    def _connect(self, path):
        def connected():
            try:
                connection = socket.socket(socket.AF_UNIX)
                connection.connect(path)
                return connection
            except OSError:
                return None
        return self.wait_for(connected, "no emulator socket " + path, 0.1, patience=60)

    def _drain(self):
        while True:
            data = self.serial.recv(65536)
            if not data:
                return
            text = data.decode(errors="replace")
            sys.stderr.write(text)
            with self.lock:
                self.serial_text += text

    def command(self, name, **arguments):
        """A QMP command's answer; the events that come before it are kept in events."""
        self.qmp.write(json.dumps({"execute": name, "arguments": arguments}) + "\n")
        self.qmp.flush()
        while True:
            reply = json.loads(self.qmp.readline())
            if "event" in reply:
                self.events.append(reply)
            elif "error" in reply:
                raise InstrumentError("%s: %s" % (name, reply["error"]))
            else:
                return reply["return"]

    def wait(self, patience=None):
        """Waits for the emulator to end, and gives the QMP events it sent up to then."""
        try:
            self.emulator.wait(patience)
        except subprocess.TimeoutExpired:
            raise InstrumentError("the emulator did not end")
        if not self.window:
            self.events += [json.loads(line) for line in self.qmp]
        return self.events

    def mark(self):
        """Where the serial line's text stands now, for expect_serial to read on from."""
        with self.lock:
            return len(self.serial_text)

    def expect_serial(self, pattern, failure, since=0):
        """The first match of the pattern in what the serial line said since the mark."""
        def said():
            with self.lock:
                return re.search(pattern, self.serial_text[since:])
        return self.wait_for(said, failure, 0.05)

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

    def expect_text(self, box, text, failure, patience=PATIENCE):
        """What the box reads once the text is in it."""
        seen = []

        def reads():
            seen[:] = [self.read(box)]
            return text in seen[0] and seen[0]
        return self.wait_for(reads, lambda _: "%s (\"%s\" not there; it reads: %s)"
                             % (failure, text, seen[0]), patience=patience)

    def touch(self, gesture):
        self.shell("echo %s > /run/touchpanel" % gesture)


if __name__ == "__main__":
    with Instrument(sys.argv[1], window=True) as instrument:
        instrument.wait()

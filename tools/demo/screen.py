"""The demo's output: its announcements and the lines of its programs, never mixed within a line."""

import os
import pty
import re
import subprocess
import sys
import threading
import time


class Screen:
    def __init__(self, start):
        self.colours = sys.stdout.isatty() and "NO_COLOR" not in os.environ
        self._start = start
        self._lock = threading.Lock()
        self._unread = False

    def paint(self, code, text):
        return f"\x1b[{code}m{text}\x1b[0m" if self.colours else text

    def text(self, text=""):
        with self._lock:
            try:
                print(text, flush=True)
            except BrokenPipeError:
                self._unread = True
                with open(os.devnull, "w") as nowhere:
                    os.dup2(nowhere.fileno(), sys.stdout.fileno())

    def announce(self, text):
        """Prints what happens next, before the resulting events. Ends the demo if its reader has gone."""
        if self._unread:
            sys.exit(1)
        self.text(self.paint("1;36", f"{time.monotonic() - self._start:5.1f} s  >>> {text}"))

    def show(self, who, line):
        self.text(f"{self.paint('2', f'{who:>9} |')} {line}")


class Shown:
    """A program whose lines appear on the screen under a name. Its output is a terminal if the demo's is.

    `lines` has what it said so far, without colours; `showing` tells of such a line whether it appears.
    """

    def __init__(self, screen, who, popen, command, showing=None, **options):
        self._screen, self._who = screen, who
        self._showing = showing
        self.lines = []
        if screen.colours:
            reader, writer = pty.openpty()
        else:
            reader, writer = os.pipe()
        self.process = popen(command, stdin=subprocess.DEVNULL, stdout=writer, stderr=writer, **options)
        os.close(writer)
        self._thread = threading.Thread(target=self._copy, args=(reader,), daemon=True)
        self._thread.start()

    def _copy(self, reader):
        rest = b""
        while True:
            try:
                chunk = os.read(reader, 65536)
            except OSError:  # the other end of the terminal is closed
                chunk = b""
            *lines, rest = (rest + chunk).split(b"\n")
            for line in lines + ([rest] if not chunk and rest else []):
                self._take(line.decode(errors="replace").rstrip("\r"))
            if not chunk:
                os.close(reader)
                return

    def _take(self, line):
        plain = re.sub(r"\x1b\[[0-9;]*m", "", line)
        self.lines.append(plain)
        if not self._showing or self._showing(plain):
            self._screen.show(self._who, line)

    def end(self, number):
        """Sends a signal and waits until the program has ended and its whole output is shown."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        self.wait(5)

    def wait(self, seconds):
        """Waits, for at most this time, until the program has ended and its whole output is shown."""
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self._thread.join(5)

"""The demo as users run it: it prints the announced output, and leaves nothing behind however it ends."""

import os
import pathlib
import select
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import uuid

DEMO = pathlib.Path(__file__).resolve().parents[3] / "tools" / "demo" / "demo"
SHORTEST = "25"
SKIPPED = 77
PATIENCE = float(os.environ.get("KELLANSEEK_PATIENCE", "1"))


def interfaces():
    return set(os.listdir("/sys/class/net"))


class Demo:
    """A run of the demo. Its processes inherit a marker in their environment and create files in a directory of ours."""

    def __init__(self, test, *arguments):
        self._test = test
        self._mark = f"KELLANSEEK_DEMO_RUN={uuid.uuid4()}"
        self._files = tempfile.TemporaryDirectory()
        test.addCleanup(self._files.cleanup)
        self._interfaces = interfaces()
        name, value = self._mark.split("=")
        self.process = subprocess.Popen([DEMO, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                        env={**os.environ, name: value, "TMPDIR": self._files.name})
        test.addCleanup(self.process.stdout.close)
        test.addCleanup(self.process.kill)
        self.output = ""

    def read_until(self, text, seconds=40):
        deadline = time.monotonic() + seconds * PATIENCE
        while text not in self.output:
            wait = max(0, deadline - time.monotonic())
            self._test.assertTrue(select.select([self.process.stdout], [], [], wait)[0], self.output)
            line = self.process.stdout.readline()
            self._test.assertNotEqual("", line, self.output)
            self.output += line
            if "allows no networks of our own" in line:
                self._test.skipTest(line)

    def finish(self):
        """Waits for the end, checks that nothing is left of the run, and returns the exit code."""
        self.output += self.process.communicate(timeout=90 * PATIENCE)[0]
        self._test.assertEqual([], self.processes())
        self._test.assertEqual([], os.listdir(self._files.name))
        self._test.assertEqual(self._interfaces, interfaces())
        return self.process.returncode

    def processes(self):
        found = []
        for entry in pathlib.Path("/proc").glob("[0-9]*/environ"):
            try:
                if self._mark.encode() in entry.read_bytes():
                    found.append((entry.parent / "cmdline").read_bytes().replace(b"\0", b" "))
            except OSError:  # ended, or another user's
                continue
        return found


class DemoTest(unittest.TestCase):
    def test_short(self):
        demo = Demo(self, "--seconds", SHORTEST)
        demo.read_until("Soft1 (SOFT-0001) runs")
        # Three plants, the watch and two virtual controllers: shows that the marker finds the processes.
        self.assertGreaterEqual(len(demo.processes()), 6)
        self.assertEqual(0, demo.finish(), demo.output)

    def test_without_namespaces(self):
        demo = Demo(self, "--seconds", SHORTEST, "--no-namespaces")
        self.assertEqual(0, demo.finish(), demo.output)

    def test_interrupted(self):
        for arguments in (("--no-namespaces",), ()):
            for number, code in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
                with self.subTest(arguments=arguments, signal=number):
                    demo = Demo(self, *arguments)
                    demo.read_until("Cell5 ")
                    demo.process.send_signal(number)
                    self.assertEqual(code, demo.finish(), demo.output)

    def test_missing_output_is_reported(self):
        """A plant that loses every datagram, so no controller is ever found."""
        with tempfile.TemporaryDirectory() as folder:
            plant = pathlib.Path(folder) / "kelsim"
            plant.write_text(f'#!/bin/sh\nexec {os.environ["KELLANSEEK_KELSIM"]} --loss 100 "$@"\n')
            plant.chmod(0o755)
            os.environ["KELLANSEEK_KELSIM"], before = str(plant), os.environ["KELLANSEEK_KELSIM"]
            self.addCleanup(os.environ.__setitem__, "KELLANSEEK_KELSIM", before)
            demo = Demo(self, "--seconds", SHORTEST, "--no-namespaces")
            self.assertEqual(1, demo.finish(), demo.output)
        self.assertIn("FAILED: not seen: reconnected of Cell1;", demo.output)


if __name__ == "__main__":
    result = unittest.main(exit=False).result
    sys.exit(SKIPPED if result.skipped and result.wasSuccessful() else not result.wasSuccessful())

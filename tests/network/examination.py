"""Scenarios with the doctor."""

import contextlib
import json
import threading
import time

import harness
import wire

FINE, FAULTS = 0, 1


class Poor(wire.Device):
    """A controller that hears no broadcasts if it is `deaf`, and answers only some of five polls, and late."""

    deaf, kept, seconds, polls = False, 5, 0, 0

    def _hear(self, listener):
        if listener is not self._listeners[1] and not self.deaf:
            super()._hear(listener)
            return
        payload, source = listener.recvfrom(2000)
        self.heard.append(payload)
        if listener is not self._listeners[1]:
            return
        self.polls += 1
        answer = self.identity if wire.parse(payload)[0] == wire.FULL else self.presence

        def send():
            with contextlib.suppress(OSError):  # without a way back, or closed meanwhile
                listener.sendto(answer(), source)

        if self.polls % 5 < self.kept:
            threading.Timer(self.seconds, send).start()


def private(script):
    """What starts a command line after a shell script that changes mounts and variables for that program only."""
    return "unshare", "-m", "sh", "-ec", script + '\nexec "$@"', "sh"


class Examination(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")

    def examine(self, host, *arguments, before=(), meanwhile=None, again=None):
        """The findings by code; of several with one code the last. All are in `self.findings`. `before` starts the command line, `meanwhile` is
        called with the program, `again` every half second until it ends."""
        line = [*before, *harness.command("KELLANSEEK_KELSEEK"), "doctor", "--json", *arguments]
        program = self.run_program(host, line, harness.Said)
        if meanwhile:
            meanwhile(program)
        repeat = time.monotonic()

        def ended():
            nonlocal repeat
            if again and time.monotonic() >= repeat:
                repeat = time.monotonic() + 0.5
                again()
            return program.ended

        self.wait_until(ended, "the end of the doctor", 45)
        code, text = program.result()
        self.assertTrue(text, program.errors())
        findings = self.findings = json.loads(text)["findings"]
        for each in findings:
            self.assertTrue(each["mark"] == "fine" or (each["seen"] and each["todo"]), each)
        self.assertEqual(FAULTS if any(each["mark"] == "fault" for each in findings) else FINE, code)
        return {each["code"]: each for each in findings}

    @staticmethod
    def trouble(found):
        """The codes of the remarks and faults, without those that this machine may cause itself."""
        return {code for code, each in found.items() if each["mark"] != "fine"} - {"container", "not-watched"}

    def poor(self, address, **fields):
        """A Poor controller at an address of network A; `fields` are its qualities and those of a device."""
        number = address.split(".")[3].split("/")[0]
        qualities = {name: fields.pop(name) for name in ("deaf", "kept", "seconds") if name in fields}
        fields = {"system_id": f"{{5A-{number}}}", "mac": f"02-00-00-00-01-{number}", "name": f"poor{number}", **fields}
        device = Poor(self.reactor, self.host(f"poor{number}", {self.net: address}), address, **fields)
        self.addCleanup(device.close)
        vars(device).update(qualities)
        return device

    def forbid(self, host, chain, what="-p udp", action="-A", target="DROP"):
        rule = ["iptables", action, chain, *what.split(), "-j", target]
        self.assertEqual(0, host.popen(rule).wait(), rule)

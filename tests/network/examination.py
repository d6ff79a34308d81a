"""Scenarios with the doctor."""

import json
import time

import harness

FINE, FAULTS = 0, 1


class Examination(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")

    def examine(self, host, *arguments, before=(), meanwhile=None, again=None):
        """The findings by code; of several with one code the last. `before` starts the command line, `meanwhile` is
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

        self.wait_until(ended, "the end of the doctor", 30)
        code, text = program.result()
        self.assertTrue(text, program.errors())
        findings = json.loads(text)["findings"]
        self.assertEqual(FAULTS if any(each["mark"] == "fault" for each in findings) else FINE, code)
        return {each["code"]: each for each in findings}

    def faults(self, host, *arguments):
        return {code for code, each in self.examine(host, *arguments).items() if each["mark"] == "fault"}

    def forbid(self, host, chain, what="", action="-A"):
        rule = ["iptables", action, chain, "-p", "udp", *what.split(), "-j", "DROP"]
        self.assertEqual(0, host.popen(rule).wait(), rule)

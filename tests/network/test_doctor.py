"""The doctor on real hosts with real faults: each is provoked by the tools of the system and named by the right cause."""

import json
import socket
import unittest

import harness
import wire

FINE, FAULTS = 0, 1


class Doctor(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")

    def examine(self, host, *arguments):
        """The exit code, and the findings by code; of several with one code the last."""
        code, text = self.kelseek(host, "doctor", "--json", *arguments, kind=harness.Said).result()
        findings = json.loads(text)["findings"]
        self.assertEqual(FAULTS if any(each["mark"] == "fault" for each in findings) else FINE, code)
        return {each["code"]: each for each in findings}

    def faults(self, host, *arguments):
        return {code for code, each in self.examine(host, *arguments).items() if each["mark"] == "fault"}

    def forbid(self, host, chain, what=""):
        rule = ["iptables", "-A", chain, "-p", "udp", *what.split(), "-j", "DROP"]
        self.assertEqual(0, host.popen(rule).wait(), rule)

    def test_a_healthy_plant_has_no_fault(self):
        here = self.station({self.net: "10.1.0.1/24"})
        self.device(self.net, "10.1.0.11/24", name="cell")
        code, text = self.kelseek(here, "doctor", "10.1.0.11", "--expect", "10.1.0.11", kind=harness.Said).result()
        self.assertEqual(FINE, code, text)
        for line in ("fine    Searching on eth0 (10.1.0.1).\n", "fine    1 controller is known.\n",
                     "fine    cell (10.1.0.11, ", "No faults"):
            self.assertIn(line, text)

    @unittest.skipIf(harness.UNDER_WINE, "Wine takes every device for switched on")
    def test_a_host_without_a_usable_interface(self):
        here = self.station({self.net: "10.1.0.1/24"})
        here.ip("link set eth0 down")
        found = self.examine(here)
        self.assertIn("no-interface", found)
        self.assertIn("eth0", found["no-interface"]["seen"])

    def test_a_firewall_on_this_host(self):
        for chain, code in (("INPUT", "firewall-in"), ("OUTPUT", "firewall-out")):
            with self.subTest(chain):
                here = self.station({self.net: f"10.1.0.{len(chain)}/24"}, name=f"host-{chain.lower()}")
                self.forbid(here, chain, f"--dport {wire.REQUEST_PORT}:{wire.RESPONSE_PORT}")
                self.assertIn(code, self.faults(here))

    def test_a_port_held_by_another_program(self):
        here = self.station({self.net: "10.1.0.1/24"})
        with here.inside(), socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
            holder.bind(("10.1.0.1", wire.RESPONSE_PORT))
            found = self.examine(here)
        self.assertIn("port-held", found)
        if not harness.UNDER_WINE:  # which does not know the owner
            self.assertIn("process", found["port-held"]["what"])

    def test_addresses_and_what_stands_between(self):
        here = self.station({self.net: "10.1.0.1/24"})
        self.device(self.net, "10.1.0.11/24")
        incomplete = self.device(self.net, "10.1.0.12/24", system_id="")
        other = self.lab.host("other").connect(self.net, "10.1.0.13/24")
        blocked = self.lab.host("blocked").connect(self.net, "10.1.0.14/24")
        self.forbid(blocked, "INPUT")
        here.ip("route add prohibit 10.7.0.0/16")
        prohibited = "no-route" if harness.UNDER_WINE else "route-prohibited"  # Windows has no such route
        for address, cause in ((incomplete.address, "incomplete"), ("10.1.0.13", "port-closed"),
                               ("10.1.0.14", "firewall-there"), ("10.1.0.99", "host-down"),
                               ("10.7.0.1", prohibited), ("10.9.0.1", "no-route")):
            with self.subTest(cause):
                self.assertIn(cause, self.faults(here, address))
        self.assertIsNotNone(other)
        self.assertIn("other-network", self.faults(here, "--expect", "10.2.0.11"))

    def test_twins_and_silent_configured_controllers(self):
        here = self.host("station", {self.net: "10.1.0.1/24"})
        self.configure(here, static=[{"ControllerLocAddr": "10.1.0.77"}])
        for number, name in ((11, "first"), (12, "second")):
            self.device(self.net, f"10.1.0.{number}/24", name=name, system_id="{TWIN}")
        found = self.examine(here)
        self.assertIn("host-down", found)
        self.assertIn("first", found["collision"]["seen"])
        self.assertIn("second", found["collision"]["seen"])


if __name__ == "__main__":
    harness.main()

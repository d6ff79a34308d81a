"""The doctor on real hosts with real faults: each is provoked by the tools of the system and named by the right cause."""

import os
import pathlib
import resource
import socket
import unittest

import examination
import harness
import wire


class Doctor(examination.Examination):
    def test_a_healthy_plant_has_no_fault(self):
        here = self.station({self.net: "10.1.0.1/24"})
        self.device(self.net, "10.1.0.11/24", name="cell")
        code, text = self.kelseek(here, "doctor", "10.1.0.11", "--expect", "10.1.0.11", kind=harness.Said).result()
        self.assertEqual(examination.FINE, code, text)
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

    @unittest.skipIf(harness.UNDER_WINE, "Wine takes every device for one with a cable")
    def test_interfaces_that_reach_nobody(self):
        here = self.station({self.net: "10.1.0.1/24"})
        self.device(self.net, "10.1.0.11/24")
        here.connect(self.net, device="six").connect(self.net, device="vpn")
        here.ip("addr add fd00::1/64 dev six", "addr add 10.6.0.1/32 dev vpn",
                "link add cable type veth peer name plug", "link set cable up", "addr add 10.4.0.1/24 brd + dev cable")
        found = self.examine(here)
        self.assertIn("cable (10.4.0.1)", found["no-carrier"]["what"])
        self.assertIn("vpn (10.6.0.1)", found["single-host"]["what"])
        self.assertEqual({"no-carrier"}, {code for code, each in found.items() if each["mark"] == "fault"})
        self.assertEqual("six has no IPv4 address.", found["no-ipv4"]["what"])

    def test_a_configuration_that_is_not_the_intended_one(self):
        for fault, settings, replaced in (("ports-swapped", {"RequestPort": 5513, "ResponsePort": 5512}, None),
                                          ("ports-same", {"RequestPort": 5513}, None),
                                          ("config-refused", {}, "lanseekconf.xml"),
                                          ("config-unreadable", {}, "registry")):
            with self.subTest(fault):
                here = self.station({self.net: f"10.1.0.{len(fault)}/24"}, name=fault, **settings)
                registry = pathlib.Path(self.environment_of(here)["KELLANSEEK_REGISTRY"])
                if replaced == "registry":
                    registry.write_text(registry.read_text().replace("ConfigDir=", "ConfigDir=/nowhere"))
                elif replaced:
                    (registry.parent / replaced).write_text("<no XML")
                self.assertIn(fault, self.faults(here))

    @unittest.skipIf(harness.UNDER_WINE, "a limit of Linux")
    @unittest.skipIf("KELLANSEEK_SANITIZED" in os.environ, "a sanitizer opens pipes to look at memory")
    def test_a_limit_on_open_files(self):
        here = self.station({self.net: "10.1.0.1/24"})

        def forbid_more(program):
            self.tap(self.net).wait_for(payload=wire.FULL_REQUEST)
            resource.prlimit(program.pid, resource.RLIMIT_NOFILE, (3, 3))

        self.assertIn("3 of 3 file descriptors", self.examine(here, meanwhile=forbid_more)["descriptors"]["seen"])


if __name__ == "__main__":
    harness.main()

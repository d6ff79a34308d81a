"""The doctor on real hosts with real faults: each is provoked by the tools of the system and named by the right cause."""

import itertools
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import time
import unittest

import examination
import harness
import wire


class Doctor(examination.Examination):
    def test_a_healthy_plant_has_no_fault(self):
        here = self.station({self.net: "10.1.0.1/24"}, RefreshTimeout=4, NonLocalRefreshTimeout=3)  # the defaults
        self.device(self.net, "10.1.0.11/24", name="cell")
        begin = time.monotonic()
        code, text = self.kelseek(here, "doctor", "10.1.0.11", "--expect", "10.1.0.11", kind=harness.Said).result()
        self.assertLess(time.monotonic() - begin, 6 * harness.PATIENCE)
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
        self.assertIn("eth0 (10.1.0.1) is switched off", found["interface-down"]["what"])

    def test_a_firewall_on_this_host(self):
        ports = f"-p udp --dport {wire.REQUEST_PORT}:{wire.RESPONSE_PORT}"
        for number, (chain, rules, code) in enumerate((
                ("INPUT", [(ports, "DROP")], "firewall-in"),
                ("INPUT", [("-m conntrack --ctstate ESTABLISHED", "ACCEPT"), ("", "DROP")], "firewall-in"),
                ("OUTPUT", [(ports, "DROP")], "firewall-out"), ("OUTPUT", [(ports, "REJECT")], "firewall-out"))):
            with self.subTest(rules):
                here = self.station({self.net: f"10.1.0.{number + 1}/24"}, name=f"host{number}")
                for what, target in rules:
                    self.forbid(here, chain, what, target=target)
                found = self.examine(here)
                self.assertEqual({code, "none-found"}, self.trouble(found))
                faults = [each for each in self.findings if each["mark"] == "fault"]
                self.assertEqual({code}, {each["code"] for each in faults})
                self.assertIn(faults[0]["what"], found["none-found"]["todo"])
                searching = self.kelseek(here, *(["list"], ["watch", "--wait", "4"])[number % 2], kind=harness.Said)
                self.assertEqual(examination.FAULTS, searching.result()[0])
                self.assertIn("Most likely: " + faults[0]["what"], searching.errors())

    def test_a_port_held_by_another_program(self):
        here = self.station({self.net: "10.1.0.1/24"})
        with here.inside(), socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as holder:
            holder.bind(("10.1.0.1", wire.RESPONSE_PORT))
            found = self.examine(here)
        self.assertIn("port-held", found)
        if not harness.UNDER_WINE:  # which does not know the owner
            self.assertIn(f"(process {os.getpid()})", found["port-held"]["what"])

    def test_addresses_and_what_stands_between(self):
        here = self.station({self.net: "10.1.0.1/24"}, RefreshTimeout=3)
        known = self.device(self.net, "10.1.0.11/24", name="known")
        for address, fields in (("10.1.0.12/24", {"system_id": ""}), ("10.1.0.13/24", {"mac": ""}),
                                ("10.1.0.14/24", {"system_id": known.system_id}), ("10.1.0.15/24", {"mac": known.mac}),
                                ("10.1.0.16/24", {"system_id": known.system_id, "mac": known.mac}),
                                ("10.1.0.17/24", {}), ("10.1.0.18/24", {"seconds": 8}), ("10.1.0.25/29", {})):
            self.poor(address, deaf=True, **fields)
        others = [self.lab.host(f"other{number}").connect(self.net, f"10.1.0.{number}/24") for number in range(20, 24)]
        self.forbid(others[1], "INPUT")
        others[2].ip("route add unreachable 10.5.0.0/16", "route add blackhole 10.6.0.0/16")
        for setting in ("forwarding", "send_redirects"):
            with others[2].inside(), open(f"/proc/sys/net/ipv4/conf/all/{setting}", "w") as file:
                file.write("1" if setting == "forwarding" else "0")
        here.ip("route add prohibit 10.7.0.0/16", *(f"route add 10.{net}.0.0/16 via 10.1.0.{router}" for net, router in (
            (5, 22), (6, 22), (8, 98))))
        stranger = others[3].udp_socket("", wire.NON_LOCAL_PORT)
        self.addCleanup(stranger.close)
        self.reactor.add(stranger, lambda: stranger.sendto(b"who?", stranger.recvfrom(2000)[1]))
        self.addCleanup(self.reactor.remove, stranger)
        prohibited = "no-route" if harness.UNDER_WINE else "route-prohibited"  # Windows has no such route
        # Wine keeps what the router says to itself.
        unreachable, routers_word = ("no-answer", "") if harness.UNDER_WINE else ("unreachable", "router 10.1.0.22 says")
        cases = (("10.1.0.11", "answers", ""), ("10.1.0.12", "incomplete", "system identity"),
                 ("10.1.0.13", "incomplete", "MAC address"), ("10.1.0.14", "collision", "same identity"),
                 ("10.1.0.15", "collision", "same MAC address"), ("10.1.0.16", "second-address", ""),
                 ("10.1.0.17", "broadcast-lost", ""), ("10.1.0.18", "slow", "too late"),
                 ("10.1.0.20", "port-closed", ""), ("10.1.0.21", "firewall-there", ""), ("10.1.0.23", "strange-answer", ""),
                 ("10.1.0.25", "firewall-there", ""), ("10.1.0.99", "host-down", ""), ("10.5.0.1", unreachable, routers_word),
                 ("10.6.0.1", "no-answer", ""), ("10.7.0.1", prohibited, ""), ("10.8.0.1", "gateway-down", "10.1.0.98"),
                 ("10.9.0.1", "no-route", ""))
        self.examine(here, *(address for address, _, _ in cases))
        for address, code, words in cases:
            with self.subTest(address):
                said = {each["code"]: each["what"] for each in self.findings
                        if re.search(rf"{address}(?!\d)", each["what"]) and (each["mark"] != "fine" or each["code"] == code)}
                self.assertIn(code, said)
                self.assertIn(words, said[code])
                if not harness.UNDER_WINE:  # which knows less of a silent address
                    self.assertEqual({code}, set(said))
        for each in self.findings:
            if each["code"] == "collision":
                self.assertIn("known (10.1.0.11", each["seen"])

    def test_twins_and_silent_configured_controllers(self):
        here = self.host("station", {self.net: "10.1.0.1/24"})
        self.configure(here, static=[{"ControllerLocAddr": "10.1.0.77"}])
        twins = []
        for number, name, fields in ((11, "first", {"system_id": "{TWIN}"}), (12, "second", {"system_id": "{TWIN}"}),
                                     (13, "third", {"mac": "02-TWIN"}), (14, "fourth", {"mac": "02-TWIN"})):
            twins.append(self.device(self.net, f"10.1.0.{number}/24", name=name, **fields))
        self.kelsim(self.host("plant", {self.net: "10.1.0.50/24"}), "--count", 2, "--event", "0 same-address 2 1")
        turns = itertools.cycle(twins[2:])  # each displaces the other, seen by the next look at the latest
        found = self.examine(here, "10.1.0.12", "--expect", "10.1.0.12", again=lambda: next(turns).announce())
        self.assertIn("host-down", found)
        self.assertNotIn("broadcast-lost", found)
        self.assertIn("as the faults above explain", found["expected-missing"]["what"])
        collisions = [each for each in self.findings if each["code"] == "collision"]
        for names, words in ((("first", "second"), "system identity"), (("third", "fourth"), "MAC address"),
                             (("Cell1", "Cell2"), "same address")):
            if harness.UNDER_WINE and words == "MAC address":
                continue  # One of them has gone before its properties are read there.
            with self.subTest(words):
                self.assertTrue(any(words in each["what"] and all(name in each["seen"] for name in names)
                                    for each in collisions), collisions)

    @unittest.skipUnless(os.path.exists("/dev/net/tun"), "this system makes no tunnels")
    @unittest.skipIf(harness.UNDER_WINE, "Wine tells nothing of the kind of a device")
    def test_a_tunnel(self):
        here = self.station({self.net: "10.1.0.1/24"})
        self.device(self.net, "10.1.0.11/24")
        # It has a carrier as long as a program holds it.
        holder = ("import fcntl, os, struct, sys\n"
                  "tunnel = os.open('/dev/net/tun', os.O_RDWR)\n"
                  "fcntl.ioctl(tunnel, 0x400454ca, struct.pack('16sH22x', b'tunnel', 0x1001))\n"
                  "print('open', flush=True); sys.stdin.read()")
        self.run_program(here, [sys.executable, "-c", holder], harness.Said).wait_for_output("open")
        here.ip("addr add 10.7.0.1/24 dev tunnel", "link set tunnel up")
        found = self.examine(here)
        self.assertIn("tunnel (10.7.0.1)", found["single-host"]["what"])
        self.assertFalse([each for each in found.values() if each["mark"] == "fault"])

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
        for codes, settings, replaced in (
                ({"ports-swapped"}, {"RequestPort": 5513, "ResponsePort": 5512}, None),
                ({"ports-same"}, {"RequestPort": 5513}, None), ({"ports-changed"}, {"NonLocalPort": 6000}, None),
                ({"config"}, {"RefreshTime": 1}, None),
                ({"config", "interface-excluded", "no-interface"}, {"UseInterfaces": ["10.99.0.1/24"]}, None),
                ({"config-refused"}, {}, "lanseekconf.xml"), ({"config-unreadable"}, {}, "registry")):
            with self.subTest(codes):
                here = self.station({self.net: f"10.1.0.{len(settings) + len(min(codes))}/24"}, name=min(codes), **settings)
                registry = pathlib.Path(self.environment_of(here)["KELLANSEEK_REGISTRY"])
                if replaced == "registry":
                    registry.write_text(registry.read_text().replace("ConfigDir=", "ConfigDir=/nowhere"))
                elif replaced:
                    (registry.parent / replaced).write_text("<no XML")
                found = self.examine(here)
                self.assertLessEqual(codes, set(found))
                if "no-interface" in codes:
                    lines = (registry.parent / "lanseekconf.xml").read_text().split("UseInterfaces")[0].count("\n")
                    self.assertIn(f"lanseekconf.xml:{lines + 1})", found["no-interface"]["todo"])

    @unittest.skipIf(harness.UNDER_WINE, "rules and rights of Linux")
    def test_what_the_component_counts(self):
        polled = self.poor("10.1.0.11/24", deaf=True, kept=3)
        here = self.host("station", {self.net: "10.1.0.1/24", self.network("B"): "10.2.0.1/24"})
        stray = self.device(self.net, "10.2.0.12/24")
        self.configure(here, static=[{"ControllerLocAddr": polled.address}])
        path = os.path.join(self.lab.scratch, "bundle.tar")
        found = self.examine(here, "--bundle", path, "--bundle-seconds", "7", again=stray.announce)
        self.assertIn(polled.address, found["unanswered"]["what"])
        self.assertIn(stray.address, found["other-subnet"]["what"])
        self.forbid(here, "OUTPUT", f"-p udp --dport {wire.NON_LOCAL_PORT}")
        found = self.examine(here)
        self.assertIn(polled.address, found["send-errors"]["seen"] + found["firewall-out"]["what"])
        here.popen(["sysctl", "-qw", "net.ipv4.ip_unprivileged_port_start=6000"]).wait()
        found = self.examine(here, before=("setpriv", "--bounding-set", "-net_bind_service"))
        self.assertIn("Permission denied", found["socket-refused"]["seen"])

    @unittest.skipIf(harness.UNDER_WINE, "mounts of Linux")
    def test_what_the_surroundings_of_the_program_are(self):
        here = self.station({self.net: "10.1.0.1/24"})
        folder = self.lab.scratch
        for name, module in (("own", "/opt/old/libKelLanSeek.so.1"), ("machine", "/usr/lib/libKelLanSeek.so.1")):
            pathlib.Path(folder, name).write_text(
                f"[HKEY_CLASSES_ROOT\\CLSID\\{{2B474DCE-7759-49B8-B088-5A5DE5943E2F}}\\InprocServer32]\n@={module}\n")
        for code, seen, script in (
                ("container", "container", "mount -t tmpfs run /run; touch /run/.containerenv"),
                ("wsl", "kernel", f"echo Microsoft > {folder}/v; mount --bind {folder}/v /proc/version"),
                ("registry-other", "/opt/old/libKelLanSeek.so.1, the other one the component /usr/lib/libKelLanSeek.so.1",
                 f"mount -t tmpfs etc /etc; mkdir -p /etc/kellanseek {folder}/.config/kellanseek; unset KELLANSEEK_REGISTRY; "
                 f"cp {folder}/machine /etc/kellanseek/registry; cp {folder}/own {folder}/.config/kellanseek/registry; "
                 f"export HOME={folder} KELLANSEEK_CONFIG_DIR={folder}/config-station")):
            with self.subTest(code):
                self.assertIn(seen, self.examine(here, before=examination.private(script))[code]["seen"])

    @unittest.skipIf(harness.UNDER_WINE or "KELLANSEEK_SANITIZED" in os.environ, "limits of Linux, where nobody else needs files")
    def test_limits_of_the_program(self):
        here = self.station({self.net: "10.1.0.1/24"})
        other = ("setpriv", "--reuid", "54321", "--clear-groups")
        program = harness.command("KELLANSEEK_KELSEEK")[-1]
        for code, limit in (("descriptors", "--nofile=9"), ("descriptors", "--nofile=14"), ("descriptors", "--nofile=22"),
                            ("few-descriptors", "--nofile=40"), ("threads", "--nproc=1"), ("threads", "--nproc=2")):
            with self.subTest(limit):
                before = ("prlimit", limit)
                if code == "threads":  # which do not count for the administrator
                    if here.popen([*other, "test", "-x", program], stderr=subprocess.DEVNULL).wait() != 0:
                        self.skipTest("no other user may run the program")
                    before = (*other, *before)
                found = self.examine(here, before=before)
                self.assertIn(code, found)
                self.assertNotIn("no-interface", found)

    @unittest.skipIf(harness.UNDER_WINE, "Windows counts no lost datagrams, and knows no stop")
    def test_a_host_that_was_too_busy(self):
        here = self.station({self.net: "10.1.0.1/24"}, RefreshTimeout=5)
        cell = self.device(self.net, "10.1.0.11/24")

        def stop_for_a_while(program):
            self.tap(self.net).wait_for(payload=wire.FULL_REQUEST)
            # The ticks begin after the first requests.
            begin = time.monotonic() + 1
            self.wait_until(lambda: time.monotonic() > begin, "a second")
            program.process.send_signal(signal.SIGSTOP)
            for _ in range(20000):
                cell.send(b"no message")
            self.wait_until(lambda: time.monotonic() > begin + 3, "three seconds")
            program.process.send_signal(signal.SIGCONT)

        # The system tells of lost datagrams with the next one.
        found = self.examine(here, meanwhile=stop_for_a_while, again=cell.announce)
        self.assertLessEqual({"late-ticks", "receive-buffer", "malformed"}, set(found))
        self.assertIn(cell.address, found["malformed"]["seen"])

    def test_forged_controllers(self):
        quiet = self.lab.network("B")  # without a tap
        here, forger = self.host("station", {quiet: "10.0.0.1/8"}), self.host("forger", {quiet: "10.0.0.2/8"})
        sender = forger.udp_socket("10.0.0.2")
        self.addCleanup(sender.close)
        numbers = itertools.count()

        def forge():
            for number in itertools.islice(numbers, 1000):
                sender.sendto(wire.datagram(wire.INFO, (1, "forged"), (4, f"{{F-{number}}}"), (9, f"f-{number}"), (
                    0xE, f"10.9.{number // 250}.{1 + number % 250}"), (0x11, 1)), ("10.255.255.255", wire.RESPONSE_PORT))

        self.configure(here, RefreshInterval=600)
        filling = self.examine(here, again=forge)
        # The doctor listens for 15 seconds at most. All of it is needed where a program reads slowly.
        self.configure(here, RefreshTimeout=20)
        plant = self.run_program(forger, [*harness.command("KELLANSEEK_KELSIM"), "--count", "100000", "--base-address",
                                          "10.8.0.0", "--no-announce", "--delay-ms", "13000"], harness.Said)
        plant.wait_for_output("controllers")
        full = self.examine(here)
        if "table-full" not in full:  # A busy machine may not get so far at its first try.
            full = self.examine(here)
        for found, code in ((filling, "table-fills"), (full, "table-full")):
            self.assertEqual("fault", found[code]["mark"], found[code])
            if not harness.UNDER_WINE:
                self.assertIn("sent by 10.0.0.2", found[code]["seen"])


if __name__ == "__main__":
    harness.main()

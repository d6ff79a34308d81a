"""What the doctor sees by questions, on the wire and with the help of another host, and what it takes along."""

import json
import os
import signal
import tarfile
import unittest

import examination
import harness
import wire


class DoctorsEvidence(examination.Examination):
    @unittest.skipIf(harness.UNDER_WINE, "Windows has no tap")
    def test_what_only_the_administrator_sees(self):
        here = self.station({self.net: "10.1.0.1/25"})
        others = [self.device(self.net, address) for address in ("10.1.0.200/24", "10.9.0.5/24", "10.1.0.11/25")]
        self.forbid(here, "INPUT", "-p udp -s 10.1.0.11")
        found = self.examine(here, again=lambda: [each.announce() for each in others])
        for code, address in (("wrong-mask", "10.1.0.200"), ("foreign-controller", "10.9.0.5"), ("firewall-in", "10.1.0.11")):
            self.assertIn(address, found[code]["what"])
        self.assertNotIn("not-watched", found)
        bundle = os.path.join(self.lab.scratch, "no-rights.tar")
        found = self.examine(here, "--bundle", bundle, "--bundle-seconds", "0",
                             before=("setpriv", "--bounding-set", "-net_raw"))
        self.assertIn("not-watched", found)
        self.assertNotIn("firewall-in", found)
        with tarfile.open(bundle) as archive:
            self.assertNotIn("capture.pcap", archive.getnames())
            self.assertIn("capture.pcap: it takes the rights", archive.extractfile("README.txt").read().decode())

    def test_masks_and_networks_that_differ(self):
        apart = {"expected-missing", "broadcast-lost", "wrong-mask"}
        cases = (("10.1.0.1/25", "10.1.0.200/24", {"other-network", "wrong-mask"}),  # too long here
                 ("10.1.0.1/16", "10.1.0.11/24", apart),  # too short here
                 ("10.1.0.1/24", "10.1.0.11/16", apart),  # too short there
                 ("10.1.0.1/24", "10.1.0.11/25", apart),  # too long there
                 ("10.1.0.1/24", "10.2.0.11/24", {"other-network", "foreign-controller"}))
        for number, (ours, theirs, causes) in enumerate(cases):
            with self.subTest(ours=ours, theirs=theirs):
                net = self.network(f"net{number}")
                here = self.station({net: ours}, name=f"host{number}")
                cell = self.device(net, theirs)
                if harness.UNDER_WINE:  # Windows has no tap
                    causes -= {"wrong-mask", "foreign-controller"}
                found = self.examine(here, "--expect", cell.address, again=cell.announce)
                self.assertEqual(causes | {"none-found"}, self.trouble(found))
                for code in causes:
                    self.assertIn(cell.address, found[code]["what"])

    def test_slow_and_lost_answers(self):
        here = self.station({self.net: "10.1.0.1/24"}, NonLocalRefreshTimeout=4)
        lossy, slow = self.poor("10.1.0.11/24", kept=2), self.poor("10.1.0.12/24", seconds=2.4)
        self.kelsim(self.host("plant", {self.net: "10.1.0.13/24"}), "--count", 3, "--base-address", "10.1.0.50")
        found = self.examine(here)
        self.assertIn(lossy.address, found["lossy"]["what"])
        self.assertIn("2 of 5 answers came", found["lossy"]["seen"])
        self.assertIn(slow.address, found["slow"]["what"])
        self.assertIn("10.1.0.50", found["no-direct-answer"]["seen"])

    def test_hello_proves_each_direction(self):
        here, there = self.station({self.net: "10.1.0.1/24"}), self.host("there", {self.net: "10.1.0.5/24"})
        hello = self.run_program(there, [*harness.command("KELLANSEEK_KELSIM"), "--hello"], harness.Said)
        hello.wait_for_output("hello from")

        def says(*arguments):
            return {code for code in self.examine(here, "--hello", *arguments) if code.startswith("hello")}

        self.assertEqual({"hello-both-ways"}, says())
        hello.wait_for_output("heard 10.1.0.1")
        way_there, way_back = f"-p udp --dport {wire.REQUEST_PORT}", f"-p udp --dport {wire.RESPONSE_PORT}"
        self.forbid(there, "INPUT", way_there)
        hello.wait_for_output("heard nobody")
        self.assertEqual({"hello-not-there"}, says())
        self.forbid(here, "INPUT", way_back)
        self.assertEqual({"hello-only-by-address"}, says("10.1.0.5"))
        self.forbid(there, "INPUT", way_there, action="-D")
        self.assertEqual({"hello-not-back"}, says("10.1.0.5"))
        self.assertEqual({"hello-nobody"}, says())
        hello.stop()
        self.assertEqual({"hello-silent"}, says("10.1.0.5"))

    def test_the_bundle_has_what_it_says(self):
        here = self.host("station", {self.net: "10.1.0.1/24"})
        self.configure(here, static=[{"ControllerLocAddr": "nowhere"}])
        cell = self.device(self.net, "10.1.0.11/24", name="cell")
        path = os.path.join(self.lab.scratch, "bundle.tar")
        program = self.kelseek(here, "doctor", "--bundle", path, "--bundle-seconds", "3600", kind=harness.Said)
        self.wait_until(lambda: any(wire.parse(each)[0] == wire.REFRESH for each in cell.heard), "a question of the doctor")
        program.process.send_signal(signal.SIGINT)
        code, text = program.result()
        self.assertEqual(examination.FINE, code, text)
        with tarfile.open(path) as archive:
            content = {name: archive.extractfile(name).read() for name in archive.getnames()}
        recorded = {"capture.pcap", "traces.log"} if not harness.UNDER_WINE else set()
        self.assertEqual(recorded | {"README.txt", "findings.txt", "findings.json", "report.json", "interfaces.txt",
                                     "routes.txt", "neighbours.txt", "configuration/lanseekconf.xml",
                                     "configuration/controllerid.xml"}, set(content))
        for name, each in content.items():
            self.assertIn(f"  {name} ({len(each)} byte", text)
            self.assertIn(f"\n  {name}: ", content["README.txt"].decode())
        self.assertIn(b"nowhere", content["configuration/controllerid.xml"])
        self.assertIn("10.1.0.11", content["neighbours.txt"].decode())
        self.assertIn("cell", [each["name"] for each in json.loads(content["report.json"])["controllers"]])
        if recorded:
            for datagram in (cell.identity(), wire.REFRESH_REQUEST):  # in and out
                self.assertIn(datagram, content["capture.pcap"])
            self.assertIn(b"invalid IP-address nowhere", content["traces.log"])
        code, _ = self.kelseek(here, "doctor", "--bundle", path, kind=harness.Said).result()
        self.assertEqual(2, code, "an existing file stays")


if __name__ == "__main__":
    harness.main()

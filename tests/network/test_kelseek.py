"""The command line client on real networks: its output and exit codes."""

import json
import signal

import harness
import wire

FOUND, NOTHING_FOUND = 0, 1


class Commands(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")
        self.here = self.station({self.net: "10.1.0.1/24"})

    def run_kelseek(self, *arguments):
        return self.kelseek(self.here, *arguments, kind=harness.Said).result()

    def test_empty_network(self):
        for arguments in (["list", "--wait", "0.3"], ["list", "--wait", "0.3", "--json"], ["show", "cell", "--wait", "0.3"],
                          ["show", "{5A-0001}", "--wait", "0.3"], ["add", "10.1.0.77", "--wait", "0.3"],
                          ["refresh", "--wait", "0.1"], ["watch", "--wait", "0.3"], ["watch", "--seconds", "0.3"]):
            with self.subTest(arguments):
                self.assertEqual(NOTHING_FOUND, self.run_kelseek(*arguments)[0])
        self.assertRegex(self.run_kelseek("list", "--wait", "0.5")[1], r"^No controllers; listened for \d+\.\d s\.\n$")

    def test_list_with_ordinary_and_hostile_names(self):
        self.environment_of(self.here)["KELLANSEEK_CODEPAGE"] = "ISO-8859-1"  # has control characters above 127, too
        spoken = [b"Zelle S\xfcd", b"\x1b[31mevil\x9b"]
        names = [name.decode("cp1252" if harness.UNDER_WINE else "latin-1") for name in spoken]
        shown = [name.replace("\x1b", "\\u001b").replace("\x9b", "\\u009b") for name in names]
        devices = [self.device(self.net, f"10.1.0.{n}/24", name=name) for n, name in enumerate(spoken, 11)]
        code, text = self.run_kelseek("list", "--wait", "1")
        self.assertEqual(FOUND, code)
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")
        heading, *rows = text.split("\n\n")[0].split("\n")
        self.assertEqual(["10.1.0.11", "10.1.0.12"], sorted(row[heading.index("ADDRESS"):].split()[0] for row in rows))
        self.assertEqual(set(shown),
                         {row[heading.index("NAME"):heading.index("ADDRESS")].strip() for row in rows})
        self.assertRegex(text, r"\n2 controllers; listened for \d+\.\d s\.\n$")
        listing = json.loads(self.run_kelseek("list", "--wait", "1", "--json")[1])
        self.assertEqual({(device.address, device.system_id) for device in devices},
                         {(one["address"], one["systemID"]) for one in listing["controllers"]})
        self.assertEqual(set(names), {one["name"] for one in listing["controllers"]})
        self.assertLessEqual(1, listing["listened"])

    def test_show_accepts_name_address_and_system_identity(self):
        device = self.device(self.net, "10.1.0.11/24", name="cell", mac="02-00-00-00-00-0b")
        for which in ("cell", device.address, device.system_id, device.system_id.lower()):
            with self.subTest(which):
                code, text = self.run_kelseek("show", which)
                self.assertEqual(FOUND, code)
                for line in ("controller cell\n", "name             cell\n", "MAC address      02-00-00-00-00-0b\n",
                             "version          6.10.2\n"):
                    self.assertIn(line, text)
        self.assertEqual(device.mac, json.loads(self.run_kelseek("show", "cell", "--json")[1])["mac"])

    def test_add_with_and_without_an_answer(self):
        self.configure(self.here, DynamicDetectionEnabled=0)
        device = self.device(self.net, "10.1.0.11/24")
        code, text = self.run_kelseek("add", device.address)
        self.assertEqual(FOUND, code)
        self.assertRegex(text, rf"^10\.1\.0\.11: added, answered after \d+\.\d s\ncontroller {device.name}\n")
        self.assertRegex(text, r"known by +remote\n")
        device.be_silent()
        self.assertEqual((NOTHING_FOUND, ""), self.run_kelseek("add", device.address, "--wait", "0.3"))
        self.configure(self.here, static=[{"ControllerLocAddr": device.address}], DynamicDetectionEnabled=0)
        silent = self.kelseek(self.here, "add", device.address, "--wait", "0.3", kind=harness.Said)
        self.assertEqual((NOTHING_FOUND, ""), silent.result())
        self.assertIn("already configured, but no answer", silent.errors())

    def test_configuration_is_checked_against_the_host(self):
        self.configure(self.here, UseInterfaces=["10.2.0.0/24"])
        code, text = self.run_kelseek("check-config")
        self.assertEqual(NOTHING_FOUND, code)
        self.assertRegex(text, r"finding: UseInterfaces matches .* This host has 10\.1\.0\.1 with mask 255\.255\.255\.0\.\n")

    def test_refresh_reports_changes(self):
        device = self.device(self.net, "10.1.0.11/24", name="before")
        other = self.device(self.net, "10.1.0.12/24", name="other")
        refresh = self.kelseek(self.here, "refresh", "before", "--wait", "1", kind=harness.Said)
        self.wait_until(lambda: device.heard and other.heard, "the first request")
        device.name = other.name = "after"
        code, text = refresh.result()
        self.assertEqual(FOUND, code)
        self.assertEqual(1, text.count("updated"))
        self.assertIn('name "before" -> "after"\n', text)
        self.assertRegex(text, r"\nAsked 1 controller; 1 change within \d+\.\d s\.\n$")

    def test_watch_ends_on_request(self):
        # Windows has only the first.
        for number in (signal.SIGINT, *(() if harness.UNDER_WINE else (signal.SIGTERM, signal.SIGHUP))):
            with self.subTest(number):
                watch = self.kelseek(self.here, "watch", kind=harness.Said)
                watch.wait_for_output("DETAIL\n")
                self.assertEqual(NOTHING_FOUND, watch.stop(number))
        device = self.device(self.net, "10.1.0.11/24", name="cell")
        watch = self.kelseek(self.here, "watch", kind=harness.Said)
        watch.wait_for_output("\n")
        watch.wait_for_output(f"{device.system_id}  6.10.2\n")
        device.send(device.notice(wire.POWER_DOWN))
        watch.wait_for_output("removed\n")
        self.assertEqual(FOUND, watch.stop())
        self.assertRegex(watch.output.decode(),
                         r"\n[\d:.]{12}  power-down +RC +10\.1\.0\.11 +cell +removed\n$")


if __name__ == "__main__":
    harness.main()

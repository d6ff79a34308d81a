"""The command line client on real networks: its output and exit codes."""

import csv
import json
import pathlib
import signal

import harness
import wire

FOUND, NOTHING_FOUND = 0, 1


class Commands(harness.OneNetwork):
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
        device.answers = {}
        self.assertEqual((NOTHING_FOUND, ""), self.run_kelseek("add", device.address, "--wait", "0.3"))
        self.configure(self.here, static=[{"ControllerLocAddr": device.address}], DynamicDetectionEnabled=0)
        silent = self.kelseek(self.here, "add", device.address, "--wait", "0.3", kind=harness.Said)
        self.assertEqual((NOTHING_FOUND, ""), silent.result())
        self.assertIn("already configured, but no answer", silent.errors())

    def test_silence_is_explained(self):
        self.lab.host("other").connect(self.net, "10.1.0.13/24")
        for address, cause in (("10.1.0.13", "nobody serves the port there"), ("10.1.0.99", "Nobody on the network answers"),
                               ("10.9.0.1", "no route to it")):
            with self.subTest(address):
                add = self.kelseek(self.here, "add", address, "--wait", "0.3", kind=harness.Said)
                self.assertEqual((NOTHING_FOUND, ""), add.result())
                self.assertRegex(add.errors(), rf"{address}: added, but no answer within \d+\.\d s\n")
                self.assertIn(cause, add.errors())
        # The time given ends before the five seconds of an added address.
        watch = self.kelseek(self.here, "watch", "--plain", "--wait", "4.8", "--add", "10.1.0.99", kind=harness.Said)
        self.assertEqual(NOTHING_FOUND, watch.result()[0])
        self.assertIn("No controllers, and everything was asked once. ", watch.errors())

    def test_saved_controller_is_listed_without_broadcasts(self):
        self.configure(self.here, DynamicDetectionEnabled=0)
        device = self.device(self.net, "10.1.0.11/24", name="Zelle S\u00fcd & <1>")
        code, text = self.run_kelseek("add", device.address, "--save")
        self.assertEqual(FOUND, code)
        self.assertRegex(text, r"\n10\.1\.0\.11 is saved in .*controllerid\.xml\n$")
        self.assertRegex(self.run_kelseek("add", device.address, "--save")[1], r"10\.1\.0\.11 is in ")
        code, text = self.run_kelseek("check-config")
        self.assertEqual(FOUND, code, text)
        self.assertIn(f"Controller 10.1.0.11 ({device.name}) is accepted.\n", text)
        code, text = self.run_kelseek("list", "--json")
        listing = json.loads(text)
        self.assertEqual([(device.address, device.name, "static")],
                         [(one["address"], one["name"], one["definition"]) for one in listing["controllers"]])
        self.assertTrue(listing["complete"])

    def test_configured_and_silent_controller_is_listed_below(self):
        self.configure(self.here, static=[{"ControllerLocAddr": "10.1.0.5", "ControllerName": "silent"}])
        device = self.device(self.net, "10.1.0.11/24", name="cell")
        code, text = self.run_kelseek("list", "--sort", "name")
        self.assertEqual(FOUND, code)
        rows = text.split("\n")
        self.assertIn(device.address, rows[1])
        self.assertRegex(rows[2], r"^silent +10\.1\.0\.5 .* never-heard")
        # The list ends by itself, once everything has been asked.
        self.assertRegex(text, r"\n1 controller, 1 never heard; listened for \d+\.\d s, "
                               r"until everything was asked once\.\n$")
        listing = json.loads(self.run_kelseek("list", "--json")[1])
        self.assertEqual((1, ["never-heard"], True), (len(listing["controllers"]), [
            one["availability"] for one in listing["neverHeard"]], listing["complete"]))
        show = self.kelseek(self.here, "show", "silent", kind=harness.Said)
        self.assertEqual((NOTHING_FOUND, ""), show.result())
        self.assertIn("silent is configured, but has never answered", show.errors())

    def test_choice_of_controllers(self):
        other = self.network("B")
        here = self.station({self.net: "10.1.0.2/24", other: "10.2.0.2/24"}, name="second")
        for net, address, name in ((self.net, "10.1.0.9", "=press"), (self.net, "10.1.0.10", "Press"),
                                   (other, "10.2.0.9", "press"), (self.net, "10.1.0.11", "robot")):
            self.device(net, f"{address}/24", name=name)

        def chosen(*arguments):
            text = self.kelseek(here, "list", "--format", "csv", *arguments, kind=harness.Said).result()[1]
            return [(row["address"], row["name"]) for row in csv.DictReader(text.splitlines())]

        self.assertEqual([("10.1.0.9", "'=press"), ("10.1.0.10", "Press")],
                         chosen("--filter", "name=*press", "--filter", "network=10.1.0.0/24", "--sort", "address"))
        self.assertEqual(["10.1.0.11", "10.1.0.10", "10.1.0.9"],
                         [address for address, _ in chosen("--interface", "eth0", "--sort", "-address")])
        self.assertEqual([("10.2.0.9", "press")], chosen("--interface", "10.2.0.2"))
        watch = self.kelseek(here, "watch", "--json", "--filter", "interface=eth1", "--wait", "2")
        self.wait_until(lambda: watch.ended, "the end")
        self.assertEqual({"10.2.0.9"}, {line["address"] for line in watch.lines})
        self.assertRegex(watch.lines[0]["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")

    def test_another_configuration_directory(self):
        device = self.device(self.net, "10.1.0.11/24")
        folder = pathlib.Path(self.lab.scratch) / "elsewhere"
        folder.mkdir()
        (folder / "lanseekconf.xml").write_text(harness.settings_file({"DynamicDetectionEnabled": 0}), encoding="latin-1")
        self.assertEqual(NOTHING_FOUND, self.run_kelseek("list", "--config", str(folder))[0])
        self.assertEqual(FOUND, self.run_kelseek("list", "--config", str(folder), "--add", device.address)[0])

    def test_scan_finds_what_answers_by_address(self):
        # The last is outside.
        first, second, _ = (self.device(self.net, f"10.1.0.{number}/24", name=f"cell{number}") for number in (18, 30, 33))
        code, text = self.run_kelseek("scan", "10.1.0.16/28", "--wait", "1", "--format", "csv", "--sort", "address")
        self.assertEqual((FOUND, ["10.1.0.18", "10.1.0.30"]),
                         (code, [row["address"] for row in csv.DictReader(text.splitlines())]))
        asked = {seen.destination for seen in self.tap(self.net).find(destination_port=wire.NON_LOCAL_PORT)}
        self.assertEqual({"10.1.0.18", "10.1.0.30"}, asked, "the only ones whose hardware address is known")
        code, text = self.run_kelseek("scan", "10.1.0.33", "--wait", "0.5")
        self.assertRegex(text, r"\n1 controller; asked 1 address within \d+\.\d s\.\n$")
        code, text = self.run_kelseek("scan", "10.1.0.40/30", "--wait", "0.3", "--json")
        self.assertEqual((NOTHING_FOUND, 2, []), (code, json.loads(text)["asked"], json.loads(text)["controllers"]))
        scan = self.kelseek(self.here, "scan", "10.1.0.0/24", "--rate", "20", "--json", kind=harness.Said)
        self.wait_until(lambda: len(first.heard) > 1 and len(second.heard) > 1, "the second questions")
        self.assertEqual(FOUND, scan.stop())
        listing = json.loads(scan.result()[1])
        self.assertIn(first.address, [one["address"] for one in listing["controllers"]])
        self.assertFalse(listing["complete"])
        self.assertGreater(254, listing["asked"])

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

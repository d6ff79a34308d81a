"""Workstations treat a simulated plant like a real one: they find its controllers and report their changes."""

import pathlib
import signal
import socket

import harness
import wire


class Plant(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")
        self.here = self.station({self.net: "10.1.0.1/24"})
        self.plant_host = self.host("plant", {self.net: "10.1.0.100/24"})

    def script(self, *lines):
        path = pathlib.Path(self.lab.scratch) / "plant.script"
        path.write_text("\n".join(lines), encoding="utf-8")
        return str(path)

    def test_fifty_controllers_with_scripted_events(self):
        outsider = self.device(self.net, "10.1.0.11/24")
        other = self.host("other", {self.net: "10.1.0.2/24"}).udp_socket("10.1.0.2")
        watch = self.watch(self.here, ready_on=[self.net])
        watch.expect("new", address=outsider.address)
        life = self.script("# falls silent before anything is told", "3 silent 10",
                           "+0 rename 20 Zelle Süd", "+0 power-down 30", "+0 restart 40 0.5")
        plant = self.kelsim(self.plant_host, "--count", 50, "--delay-ms", 300, "--script", life)
        ids = {number: watch.expect("new", name=f"Cell{number}", address=f"10.1.0.{100 + number}")["id"]
               for number in range(1, 51)}
        answers = self.tap(self.net).find(source="10.1.0.100")
        self.assertEqual({("10.1.0.255", wire.RESPONSE_PORT)},
                         {(one.destination, one.destination_port) for one in answers}, "everybody hears them")

        self.assertEqual(ids[20], watch.expect("updated")["id"])
        self.assertEqual(ids[30], watch.expect("power-down")["id"])
        self.assertEqual(ids[40], watch.expect("restart")["id"])
        self.assertGreater(watch.expect("new", name="Cell40")["id"], ids[50])
        other.sendto(wire.REFRESH_REQUEST, ("10.1.0.255", wire.REQUEST_PORT))
        self.assertEqual(ids[10], watch.expect("lost-connection")["id"])
        watch.expect_nothing_else(outsider)
        self.assertEqual(0, plant.stop(signal.SIGTERM))
        other.close()

    def test_controller_at_its_hosts_address(self):
        watch = self.watch(self.here, ready_on=[self.net])
        self.kelsim(self.plant_host, "--own-address", "--first", 7)
        watch.expect("new", name="Cell7", address="10.1.0.100")
        self.tap(self.net).wait_for(source="10.1.0.100", payload=lambda text: b";e:" not in text)

    def test_polls_of_several_addresses(self):
        self.kelsim(self.plant_host, "--listen", "127.0.0.2", "--count", 3, "--delay-ms", 20)
        with self.plant_host.udp_socket("127.0.0.1") as poller:
            poller.settimeout(0.1)

            def answer(text, address):
                poller.sendto(text, (address, wire.NON_LOCAL_PORT))
                try:
                    payload, source = poller.recvfrom(2000)
                except socket.timeout:
                    return None
                kind, fields = wire.parse(payload)
                return source, kind, dict(fields)[4]

            for number in (1, 2, 3):
                address = f"127.0.0.{1 + number}"
                expected = ((address, wire.NON_LOCAL_PORT), wire.INFO, f"{{7A1C-{number:04}}}")
                self.wait_until(lambda: answer(wire.FULL_REQUEST, address) == expected, address)

    def test_invalid_options_are_rejected(self):
        faulty = self.script("1 silent 1", "2 silnt 1", "3 loss 1 200")
        cases = [
            (("--script", faulty), 2, ":2: unknown action"),
            (("--event", "1 silent 26"), 2, "\"26\" is not a controller"),
            (("--count", 0), 2, "--count"),
            (("--count", 300), 2, "--base-address"),
            (("--own-address", "--count", 2), 2, "--own-address"),
            (("--listen", "127.0.0.2", "--interface", "eth0"), 2, "--interface"),
            (("--address", "10.1.0.300"), 2, "10.1.0.300"),
            (("--address", "10.1.0.99"), 1, "no address 10.1.0.99"),
            (("--interface", "eth7"), 1, "no interface eth7"),
            (("--script", "/nowhere"), 1, "/nowhere cannot be read"),
        ]
        for arguments, exit_code, message in cases:
            with self.subTest(arguments=arguments):
                plant = self.kelsim(self.plant_host, *arguments)
                self.assertEqual(exit_code, plant.wait())
                self.assertIn(message, plant.errors())


if __name__ == "__main__":
    harness.main()

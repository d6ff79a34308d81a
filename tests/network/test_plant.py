"""The simulated plant at addresses of its host, and wrong use of it. The demo shows the rest."""

import pathlib

import harness


class Plant(harness.OneNetwork):
    def setUp(self):
        super().setUp()
        self.plant_host = self.host("plant", {self.net: "10.1.0.100/24"})

    def test_controller_at_its_hosts_address(self):
        watch = self.watch(self.here, ready_on=[self.net])
        self.kelsim(self.plant_host, "--own-address", "--first", 7)
        watch.expect("new", name="Cell7", address="10.1.0.100")
        self.tap(self.net).wait_for(source="10.1.0.100", payload=lambda text: b";e:" not in text)

    def test_invalid_options_are_rejected(self):
        faulty = pathlib.Path(self.lab.scratch) / "plant.script"
        faulty.write_text("1 silent 1\n2 silnt 1\n3 loss 1 200\n")
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

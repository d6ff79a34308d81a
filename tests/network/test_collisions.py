"""Devices that claim the same address or the same identity, and devices that move."""

import harness


class Collisions(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")
        self.watcher = self.watch(self.station({self.net: "10.1.0.1/24"}), ready_on=[self.net])
        self.known = self.device(self.net, "10.1.0.11/24", name="known")
        self.known.announce()
        self.first = self.watcher.expect("new", name="known")

    def appears(self, address="10.1.0.12", **differing):
        """A device that equals the known one except for these values announces itself. It answers no requests."""
        like = {"system_id": self.known.system_id, "mac": self.known.mac, **self.known.fields, **differing}
        host = self.lab.host(f"twin{self.lab.next_number()}").connect(self.net, f"{address}/24")
        device = self.device(self.net, f"{address}/24", host=host, **{"name": "twin", **like})
        device.be_silent()
        device.announce()
        return device

    def withdrawn(self, reason):
        event = self.watcher.expect(reason)
        self.assertEqual((self.first["id"], "removed"), (event["id"], event["availability"]))

    def test_two_devices_on_one_address(self):
        self.known.be_silent()
        twin = self.appears("10.1.0.11", system_id="{OTHER}", mac="02-00-00-00-0f-01")
        self.withdrawn("address-collision")
        twin.announce()
        self.watcher.expect("new", name="twin", address="10.1.0.11")
        self.watcher.expect_nothing_else(twin)

    def test_device_moves_to_another_address(self):
        moved = self.appears()
        self.withdrawn("restart")
        self.watcher.expect("new", name="twin", address=moved.address)
        self.watcher.expect_nothing_else(moved)


if __name__ == "__main__":
    harness.main()

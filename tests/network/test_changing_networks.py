"""Networks that appear, disappear and change while a workstation runs."""

import os
import unittest

import harness
import wire


class Changes(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.a, self.b = self.network("A"), self.network("B")
        # On a busy machine Wine's sockets overflow, so ask again soon.
        again = {"RefreshInterval": 10} if harness.UNDER_WINE else {}
        self.here = self.station({self.a: "10.1.0.1/24"}, **again)
        self.on_a, self.on_b = self.device(self.a, "10.1.0.11/24"), self.device(self.b, "10.2.0.11/24")

    def start(self):
        watch = self.watch(self.here, ready_on=[self.a])
        watch.expect("new", address=self.on_a.address)
        return watch

    @unittest.skipIf(harness.UNDER_WINE, "Wine takes every device for switched on")
    def test_interface_down_and_up(self):
        self.here.connect(self.b, "10.2.0.1/24", device="eth1")
        watch = self.start()
        watch.expect("new", address=self.on_b.address)
        self.here.ip("link set eth1 down")
        watch.expect("lost-lan", address=self.on_b.address)
        self.here.ip("link set eth1 up")
        watch.expect("new", address=self.on_b.address)
        watch.expect_nothing_else(self.on_a)

    def test_second_address_on_one_device(self):
        second = self.device(self.a, "10.3.0.11/24")
        watch = self.start()
        self.here.ip("addr add 10.3.0.1/24 brd + dev eth0")
        watch.expect("new", address=second.address)
        self.here.ip("addr del 10.3.0.1/24 dev eth0")
        watch.expect("lost-lan", address=second.address)
        watch.expect_nothing_else(self.on_a)

    def test_changed_mask_moves_the_broadcasts_and_keeps_the_controllers(self):
        watch = self.start()
        self.here.ip("addr add 10.1.0.1/16 brd + dev eth0", "addr del 10.1.0.1/24 dev eth0")
        self.tap(self.a).wait_for(source="10.1.0.1", destination="10.1.255.255", payload=wire.FULL_REQUEST)
        far = self.device(self.a, "10.1.99.11/16")
        far.announce()
        watch.expect("new", address=far.address)
        self.on_a.host.ip("route add broadcast 10.1.255.255 dev eth0")
        self.on_a.broadcast = "10.1.255.255"
        watch.expect_nothing_else(self.on_a)

    def test_two_hundred_changes_leak_nothing(self):
        watch = self.start()
        usage = []
        for _ in range(100):
            self.here.connect(self.b, "10.2.0.1/24", device="eth1")
            event = watch.expect("new", address=self.on_b.address)
            self.here.disconnect("eth1")
            lost = watch.expect("lost-lan", address=self.on_b.address)
            self.assertEqual((event["id"], "removed"), (lost["id"], lost["availability"]))
            watch.expect_nothing_else(self.on_a)
            usage.append(tuple(len(os.listdir(f"/proc/{watch.process.pid}/{kind}")) for kind in ("fd", "task")))
        self.assertLessEqual(max(usage[-20:]), max(usage[:20]), "descriptors, threads")


if __name__ == "__main__":
    harness.main()

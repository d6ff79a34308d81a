"""A workstation finds the controllers on its networks and reports their changes."""

import os

import harness
import wire


class Finding(harness.OneNetwork):
    def test_first_requests_and_answers_by_broadcast_and_unicast(self):
        by_broadcast = self.device(self.net, "10.1.0.11/24", name="cell-b")
        by_unicast = self.device(self.net, "10.1.0.12/24", name="cell-u")
        by_unicast.by = "unicast"
        watch = self.watch(self.here, ready_on=[self.net])
        first = self.tap(self.net).find(source="10.1.0.1")[0]
        self.assertEqual(("10.1.0.1", 5513, "10.1.0.255", 5512, b"Lanseek;0d;5;"), first[2:])
        for device in (by_broadcast, by_unicast):
            event = watch.expect("new", address=device.address)
            self.assertEqual((device.name, device.system_id, device.mac, "RC"),
                             tuple(event[key] for key in ("name", "systemID", "mac", "kind")))

    def test_largest_datagram_is_accepted_and_a_longer_one_is_an_error(self):
        device = self.device(self.net, "10.1.0.11/24", name="n")
        device.name *= 1000 - len(device.identity())  # Its length then has one more digit.
        self.assertEqual(1000, len(device.identity()))
        watch = self.watch(self.here, ready_on=[self.net])
        watch.expect("new", name=device.name)
        device.send(device.identity() + b";")
        watch.wait_for_trace("LanSeek: Failed to read data. InterfaceIdx = 0 Error = " + ("10040" if harness.UNDER_WINE else "90"))
        watch.expect_nothing_else(device)

    def test_hostile_flood_does_not_stop_discovery(self):
        attacker = self.host("attacker", {self.net: "10.1.0.66/24"}).udp_socket("10.1.0.66")
        watch = self.watch(self.here, ready_on=[self.net])
        device = self.device(self.net, "10.1.0.11/24")
        junk = [b"", b";" * 1000, b"Lanseek;", b"Lanseek;ffffffffffffffffffff;1;", b"Lanseek;0d;5;\0\0\0",
                b"Lanseek;-1;1;1:x;", b"\xff" * 999, b"%n%s%x" * 100, wire.datagram(wire.INFO, (0xE, "1" * 25)),
                wire.datagram(0x7FFFFFFF), wire.datagram(wire.TARGETED, (0xA, "999.999.999.999"))]
        for turn in range(2000):
            for port in (wire.REQUEST_PORT, wire.RESPONSE_PORT):
                attacker.sendto(junk[turn % len(junk)], ("10.1.0.255", port))
                attacker.sendto(os.urandom(1 + turn % 1400), ("10.1.0.1", port))
            if turn % 100 == 0:
                device.announce()
        device.announce()
        watch.expect("new", address=device.address)
        watch.expect_nothing_else(device)
        self.assertIn(watch.stop(), (0, 1))
        attacker.close()


class Interfaces(harness.Scenario):
    def test_two_interfaces_ignore_broadcasts_of_each_other(self):
        a, b = self.network("A"), self.network("B")
        here = self.station({a: "10.1.0.1/24", b: "10.2.0.1/24"})
        on_a = self.device(a, "10.1.0.11/24")
        on_b = self.device(b, "10.2.0.11/24")
        on_b.answers = {}
        # Network A also has a second connection of that controller.
        stray_host = self.host("stray", {a: "10.2.0.11/24"})
        stray_host.ip("route add broadcast 10.1.0.255 dev eth0")
        stray = stray_host.udp_socket("10.2.0.11")
        watch = self.watch(here, ready_on=[a, b])
        for network, own in ((a, "10.1.0.1"), (b, "10.2.0.1")):
            self.assertEqual([own], [one.source for one in self.tap(network).find(payload=wire.FULL_REQUEST)])
        watch.expect("new", address=on_a.address)

        stray.sendto(on_b.identity(), ("10.1.0.255", wire.RESPONSE_PORT))
        self.tap(a).wait_for(source="10.2.0.11")
        watch.expect_nothing_else(on_a)
        on_b.announce()
        watch.expect("new", address="10.2.0.11")
        stray.close()


if __name__ == "__main__":
    harness.main()

"""A workstation finds the controllers on its networks and reports their changes."""

import os

import harness
import wire


class Finding(harness.Scenario):
    def setUp(self):
        super().setUp()
        self.net = self.network("A")
        self.here = self.station({self.net: "10.1.0.1/24"})

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

    def test_own_broadcasts_are_dropped(self):
        device = self.device(self.net, "10.1.0.11/24")
        watch = self.watch(self.here, ready_on=[self.net])
        watch.expect("new", address=device.address)
        mine = self.here.udp_socket("10.1.0.1")
        echo = wire.datagram(wire.INFO, (1, "echo"), (4, "{ECHO}"), (9, "02-00-00-00-0e-c0"))
        for port in (wire.REQUEST_PORT, wire.RESPONSE_PORT):
            mine.sendto(echo, ("10.1.0.255", port))
        self.tap(self.net).wait_for(count=2, payload=echo)
        watch.expect_nothing_else(device)
        mine.close()

    def test_oversized_datagram_is_an_error_and_the_largest_is_accepted(self):
        def of_size(size, device):
            start = [(4, device.system_id), (9, device.mac)]
            name = b"n" * (size - len(wire.datagram(wire.INFO, (1, b""), *start)) - 1)
            text = wire.datagram(wire.INFO, (1, name), *start)
            self.assertEqual(size, len(text))
            return text, name.decode()

        too_long, largest = self.device(self.net, "10.1.0.11/24"), self.device(self.net, "10.1.0.12/24")
        too_long.be_silent()
        largest.be_silent()
        watch = self.watch(self.here, ready_on=[self.net])
        too_long.send(of_size(1001, too_long)[0])
        text, name = of_size(1000, largest)
        largest.send(text)
        self.assertEqual(name, watch.expect("new", address=largest.address)["name"])
        watch.wait_for_trace("LanSeek: Failed to read data. InterfaceIdx = 0 Error = ")
        watch.expect_nothing_else(largest)

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
        on_b.be_silent()
        # Network A also has a second connection of that controller, and a router that forwards broadcasts.
        stray_host = self.host("stray", {a: "10.2.0.11/24"})
        stray_host.ip("route add broadcast 10.1.0.255 dev eth0")
        stray = stray_host.udp_socket("10.2.0.11")
        routed_host = self.host("routed", {a: "192.168.7.7/24"})
        routed_host.ip("route add default dev eth0")
        routed = routed_host.udp_socket("192.168.7.7")
        foreign = wire.datagram(wire.INFO, (1, "foreign"), (4, "{FOREIGN}"), (9, "02-00-00-00-ff-01"))
        watch = self.watch(here, ready_on=[a, b])
        for network, own in ((a, "10.1.0.1"), (b, "10.2.0.1")):
            self.assertEqual([own], [one.source for one in self.tap(network).find(payload=wire.FULL_REQUEST)])
        watch.expect("new", address=on_a.address)

        stray.sendto(on_b.identity(), ("10.1.0.255", wire.RESPONSE_PORT))
        self.tap(a).wait_for(source="10.2.0.11")
        watch.expect_nothing_else(on_a)
        on_b.announce()
        watch.expect("new", address="10.2.0.11")

        # A source outside all our subnets came through a router, so it is accepted where it arrives.
        routed.sendto(foreign, ("255.255.255.255", wire.RESPONSE_PORT))
        watch.expect("new", address="192.168.7.7")
        watch.expect_nothing_else(on_a)
        stray.close()
        routed.close()

    def test_two_addresses_on_one_device(self):
        net = self.network("A")
        here = self.station({net: ["10.1.0.1/24", "10.2.0.1/24"]})
        devices = [self.device(net, "10.1.0.11/24"), self.device(net, "10.2.0.11/24")]
        watch = self.watch(here, ready_on=[net])
        for device in devices:
            watch.expect("new", address=device.address)
        self.assertEqual({("10.1.0.1", "10.1.0.255"), ("10.2.0.1", "10.2.0.255")},
                         {(one.source, one.destination) for one in self.tap(net).find(payload=wire.FULL_REQUEST)})
        watch.expect_nothing_else(devices[1])

    def test_every_process_receives_every_broadcast(self):
        net = self.network("A")
        here = self.station({net: "10.1.0.1/24"})
        watches = [self.watch(here, ready_on=[net]) for _ in range(2)]
        devices = [self.device(net, f"10.1.0.{20 + n}/24") for n in range(10)]
        for reason in ("new", "updated"):
            for device in devices:
                device.name = f"{reason}-{device.address}"
                device.announce()
            for device in devices:
                for watch in watches:
                    watch.expect(reason, name=device.name)
        self.assertEqual([[], []], [watch.events for watch in watches])


if __name__ == "__main__":
    harness.main()

"""The laboratory itself: the properties of hosts, networks, taps and devices that the other scenarios rely on."""

import harness
import wire


class Laboratory(harness.Scenario):
    def test_broadcasts_stay_on_their_network(self):
        a, b = self.network("A"), self.network("B")
        station = self.host("station", {a: "10.1.0.1/24", b: "10.2.0.1/24"})
        on_a = self.device(a, "10.1.0.11/24")
        on_b = self.device(b, "10.2.0.11/24")
        sender = station.udp_socket("10.1.0.1", wire.RESPONSE_PORT)
        sender.sendto(wire.FULL_REQUEST, ("10.1.0.255", wire.REQUEST_PORT))
        self.tap(a).wait_for(source=on_a.address, destination_port=wire.RESPONSE_PORT, payload=on_a.identity())
        self.assertEqual([], self.tap(b).seen)
        self.assertEqual([], on_b.heard)
        sender.close()

    def test_laboratories_are_separate(self):
        other = harness.netlab.Lab()
        self.addCleanup(other.close)
        mine, theirs = self.network("A"), other.network("A")
        for lab, network in ((self.lab, mine), (other, theirs)):
            lab.host("first").connect(network, "10.1.0.1/24")
            lab.host("second").connect(network, "10.1.0.2/24")
        device = self.device(mine, "10.1.0.3/24")
        device.announce()
        self.tap(mine).wait_for(source="10.1.0.3")
        listener = other.host("third").connect(theirs, "10.1.0.4/24").udp_socket("", wire.RESPONSE_PORT)
        listener.setblocking(False)
        with self.assertRaises(BlockingIOError):
            listener.recv(100)
        listener.close()


if __name__ == "__main__":
    harness.main()

"""Virtual controllers published by one host and listed by others, on two networks at once."""

import signal

import harness
import wire

MACS = ("02:00:00:00:aa:01", "02:00:00:00:bb:01")


class Published(harness.Scenario):
    """One host publishes; a passive host and the taps of both networks listen."""

    def setUp(self):
        super().setUp()
        self.nets = [self.network("A"), self.network("B")]
        self.publisher = self.host("publisher")
        for number, (net, mac) in enumerate(zip(self.nets, MACS), 1):
            self.publisher.connect(net, f"10.{number}.0.1/24", device=f"eth{number - 1}", mac=mac)
        self.configure(self.publisher)
        passive = self.host("passive", {net: f"10.{n}.0.5/24" for n, net in enumerate(self.nets, 1)})
        self.passive = passive.udp_socket("", wire.RESPONSE_PORT)
        self.addCleanup(self.passive.close)
        other = self.host("other", {net: f"10.{n}.0.9/24" for n, net in enumerate(self.nets, 1)})
        self.senders = [other.udp_socket(f"10.{n}.0.9", wire.RESPONSE_PORT) for n in (1, 2)]
        for sender in self.senders:
            self.addCleanup(sender.close)

    def publish(self):
        vc = self.kelseek(self.publisher, "vc", "run", "--name", "Cell7", "--system-id", "12-34567", "--publish")
        for number in range(2):
            self.sent(number, lambda p: p.startswith(b"Lanseek;") and b";4:12-34567;" in p)
        return vc

    def sent(self, number, payload, count=1):
        """Waits for `count` such answers of the publisher on one of the networks, sent as by a controller."""
        return self.tap(self.nets[number]).wait_for(
            count=count, source=f"10.{number + 1}.0.1", source_port=wire.REQUEST_PORT,
            destination=f"10.{number + 1}.0.255", destination_port=wire.RESPONSE_PORT, payload=payload)

    def answers(self, number):
        return [one.payload for one in self.tap(self.nets[number]).find(
            source=f"10.{number + 1}.0.1", destination_port=wire.RESPONSE_PORT)]

    def request(self, number, payload):
        self.senders[number].sendto(payload, (f"10.{number + 1}.0.255", wire.REQUEST_PORT))

    def test_announcement_on_every_interface_with_its_mac(self):
        self.publish()
        received = {}
        while len(received) < 2:
            payload, source = self.passive.recvfrom(2000)
            received[source] = payload
        self.assertEqual({("10.1.0.1", 5512), ("10.2.0.1", 5512)}, set(received))
        for number, mac in enumerate(MACS, 1):
            payload = received[f"10.{number}.0.1", 5512]
            self.assertEqual(b"Lanseek;%03x;1;" % len(payload), payload[:14])
            _, fields = wire.parse(payload)
            self.assertEqual([(1, "Cell7")], [f for f in fields if f[0] == 1])
            self.assertEqual([(4, "12-34567")], [f for f in fields if f[0] == 4])
            self.assertEqual([(9, mac), (0x11, "3")], fields[-2:])

    def test_answers_leave_on_the_interface_of_the_request(self):
        self.publish()
        identity = [self.answers(number)[0] for number in range(2)]
        self.let_start_pass()
        before = [len(self.answers(number)) for number in range(2)]
        self.request(0, wire.REFRESH_REQUEST)
        self.sent(0, lambda p: p[12:13] == b"2")
        presence = b"Lanseek;%03x;2;4:12-34567;9:02:00:00:00:aa:01;11:3;"
        self.assertEqual(presence % len(presence % 0), self.answers(0)[before[0]])
        self.request(1, wire.FULL_REQUEST)
        self.sent(1, identity[1], count=before[1] + 1)
        self.request(0, wire.targeted_request("10.1.0.1", "12-34567"))
        self.sent(0, identity[0], count=before[0] + 1)
        self.assertEqual([{identity[0], self.answers(0)[before[0]]}, {identity[1]}],
                         [set(self.answers(number)) for number in range(2)])

    def let_start_pass(self):
        """Waits past the start. A publisher that starts just after the publication answers its own first request too."""
        for number in range(2):
            before = len(self.answers(number))
            self.request(number, wire.FULL_REQUEST)
            self.sent(number, lambda p: p[12:13] == b"1", count=before + 1)

    def test_another_host_lists_it_until_it_is_stopped(self):
        here = self.station({net: f"10.{n}.0.2/24" for n, net in enumerate(self.nets, 1)})
        watch = self.watch(here, ready_on=self.nets)
        vc = self.publish()
        event = watch.expect("new", systemID="12-34567")
        self.assertEqual(("Cell7", "RemoteVC"), (event["name"], event["kind"]))
        self.assertIn(event["mac"], MACS)
        vc.stop(signal.SIGINT)
        lost = watch.expect("power-down")
        self.assertEqual((event["id"], "removed"), (lost["id"], lost["availability"]))
        for number in range(2):
            notice = b"Lanseek;%03x;4;4:12-34567;11:3;"
            # One notice is enough for the other host; the other may still be on its way.
            self.sent(number, lambda p: p[12:13] == b"4", count=1)
            self.assertEqual(notice % len(notice % 0), self.answers(number)[-1])


if __name__ == "__main__":
    harness.main()

"""Virtual controllers published by one host and listed by others, on two networks at once."""

import signal

import harness
import wire

MACS = (b"02:00:00:00:aa:01", b"02:00:00:00:bb:01")
NOTICE = b"Lanseek;01e;4;4:12-34567;11:3;"


class Published(harness.Scenario):
    def test_another_host_lists_it_until_it_is_stopped(self):
        nets = {self.network(name): f"10.{number}.0." for number, name in enumerate("AB", 1)}
        publisher = self.host("publisher")
        for number, (net, mac) in enumerate(zip(nets, MACS)):
            publisher.connect(net, f"{nets[net]}1/24", device=f"eth{number}", mac=mac.decode())
        self.configure(publisher)

        def wait_for(net, payload):
            """Waits for a broadcast of the publisher, sent as by a controller."""
            self.tap(net).wait_for(source=f"{nets[net]}1", source_port=wire.REQUEST_PORT, destination=f"{nets[net]}255",
                                   destination_port=wire.RESPONSE_PORT, payload=payload)

        watch = self.watch(self.station({net: f"{start}2/24" for net, start in nets.items()}), ready_on=nets)
        vc = self.kelseek(publisher, "vc", "run", "--name", "Cell7", "--system-id", "12-34567", "--publish")
        for net, mac in zip(nets, MACS):
            wait_for(net, lambda text, mac=mac: text.startswith(b"Lanseek;%03x;1;1:Cell7;" % len(text))
                     and text.endswith(b";9:%s;11:3;" % mac))
        event = watch.expect("new", systemID="12-34567")
        self.assertEqual(("Cell7", "RemoteVC"), (event["name"], event["kind"]))
        self.assertIn(event["mac"].encode(), MACS)
        vc.stop(signal.SIGINT)
        lost = watch.expect("power-down")
        self.assertEqual((event["id"], "removed"), (lost["id"], lost["availability"]))
        for net in nets:
            wait_for(net, NOTICE)


if __name__ == "__main__":
    harness.main()

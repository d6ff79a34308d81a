"""Many controllers known by address."""

import math
import time

import harness
import wire


class SwitchedOff(harness.Scenario):
    """More configured controllers than the host can hold datagrams for during address resolution."""

    def test_unreachable_controllers_delay_neither_ticks_nor_the_release(self):
        net = self.network("A")
        device = self.device(net, "10.1.9.11/16")
        absent = [{"ControllerLocAddr": f"10.1.{n // 200 + 1}.{n % 200 + 1}"} for n in range(500)]
        here = self.station({net: "10.1.0.1/16"}, static=[*absent, {"ControllerLocAddr": device.address}], RefreshInterval=1,
                            NonLocalRefreshTimeout=math.ceil(harness.PATIENCE))
        watch = self.watch(here, ready_on=[net])
        # If it answers the broadcast while the watch starts, it is both listed and reported.
        self.wait_until(lambda: {event["address"] for event in watch.events} == {device.address},
                        lambda: f"the controller that is on: {watch.events}")
        requests = self.tap(net).wait_for(5, destination="10.1.255.255", destination_port=wire.REQUEST_PORT)
        # A refresh every fifth tick, in spite of all other traffic.
        self.assertLess(requests[4].time - requests[0].time, 7 * harness.PATIENCE)
        watch.events.clear()
        heard = len(device.heard)
        self.wait_until(lambda: len(device.heard) > heard + 4, "polls of the controller that is on")
        self.assertEqual([], watch.events, "it was available all the time")
        begin = time.monotonic()
        self.assertEqual(0, watch.stop())
        self.assertLess(time.monotonic() - begin, 1 * harness.PATIENCE)


if __name__ == "__main__":
    harness.main()

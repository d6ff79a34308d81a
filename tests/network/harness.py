"""Scenarios on real networks: hosts and controllers in private namespaces, and the real programs between them.

A test file ends with `harness.main()`. Run it with no argument for all its scenarios, or with `Class.test_name`;
`--list` prints their names. Exit code 77: this system does not permit namespaces, or no scenario was run.

Environment: KELLANSEEK_KELSEEK and KELLANSEEK_KELSIM are the commands to test, each with its arguments (for example
"python3 under_wine.py kelseek.exe"); KELLANSEEK_PATIENCE stretches all deadlines (a factor).
"""

import ipaddress
import itertools
import json
import os
import pathlib
import shlex
import signal
import subprocess
import sys
import time
import unittest
from xml.sax.saxutils import escape

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "netlab"))

import netlab  # noqa: E402
import wire  # noqa: E402
from reactor import PATIENCE, Reactor  # noqa: E402

SKIPPED = 77
# The programs are those of Windows; see under_wine.py.
UNDER_WINE = "KELLANSEEK_WINE" in os.environ
_DECLARATION = '<?xml version="1.0" encoding="ISO-8859-1"?>\n'
_REGISTRY_KEY = r"[HKEY_LOCAL_MACHINE\Software\Tarnwell\Velmora\KelAPI]"
_OUTSIDE_COMMUNICATION = ("FakeRemoteVCAs", "DetectInterfaceChanges")

# A controller has one second to answer and is asked three times, so a scenario about silence takes five seconds.
QUICK = {"RefreshTimeout": 1, "NonLocalRefreshTimeout": 1, "NonLocalRefreshInterval": 2}


def command(variable):
    text = os.environ.get(variable)
    if not text:
        raise RuntimeError(f"{variable} is not set: it names the program to test")
    return shlex.split(text)


def settings_file(settings):
    """The text of lanseekconf.xml. "UseInterfaces" and "ExcludeInterfaces" take addresses with masks ("10.0.0.0/24")."""
    communication, outside = [], []
    for name, value in settings.items():
        if name in ("UseInterfaces", "ExcludeInterfaces"):
            nets = [ipaddress.ip_interface(text) for text in value]
            subnets = "".join(f"<SubNet><IPNumber>{net.ip}</IPNumber>"
                              f"<SubNetMask>{net.netmask}</SubNetMask></SubNet>" for net in nets)
            outside.append(f"<{name}>{subnets}</{name}>")
        else:
            (outside if name in _OUTSIDE_COMMUNICATION else communication).append(f"<{name}>{value}</{name}>")
    return (f"{_DECLARATION}<KelLanSeekConfigurations>\n<CommunicationSettings>{''.join(communication)}"
            f"</CommunicationSettings>\n{''.join(outside)}\n</KelLanSeekConfigurations>\n")


def static_file(controllers):
    """The text of controllerid.xml from dictionaries of element names and texts."""
    entries = "\n".join("<ControllerIdentity>" + "".join(
        f"<{name}>{escape(str(text))}</{name}>" for name, text in entry.items()) + "</ControllerIdentity>"
        for entry in controllers)
    return f"{_DECLARATION}<ControllerIdentities>\n{entries}\n</ControllerIdentities>\n"


class Program:
    """A program running on a host. Collects its JSON lines in `lines`."""

    def __init__(self, scenario, host, arguments, label):
        self._reactor = scenario.reactor
        self.label = label
        self.lines, self._partial, self._held_back = [], b"", b""
        self.ended = False
        folder = pathlib.Path(scenario.lab.scratch)
        self.trace_path = folder / f"{label}.trace"
        self.error_path = folder / f"{label}.stderr"
        environment = dict(os.environ, KELLANSEEK_TRACE=f"file:{self.trace_path}",
                           **scenario.environment_of(host))
        with open(self.error_path, "wb") as errors:
            self.process = host.popen(arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors,
                                      env=environment)
        os.set_blocking(self.process.stdout.fileno(), False)
        self._output = self.process.stdout
        self._reactor.add(self._output, self._read)

    def _new_output(self):
        """The output since the last call, with Windows' line ends converted."""
        chunk = self._output.read()
        if chunk == b"":
            self._reactor.remove(self._output)
            self.ended = True
        chunk = self._held_back + (chunk or b"")
        self._held_back = b"\r" if chunk.endswith(b"\r") and not self.ended else b""
        return chunk.removesuffix(self._held_back).replace(b"\r\n", b"\n")

    def _read(self):
        self._partial += self._new_output()
        *whole, self._partial = self._partial.split(b"\n")
        for text in whole:
            if text.strip().startswith(b"{"):
                self._take(json.loads(text))

    def _take(self, line):
        self.lines.append(line)

    def trace(self):
        return self.trace_path.read_text(errors="replace") if self.trace_path.exists() else ""

    def errors(self):
        return self.error_path.read_text(errors="replace")

    def wait_for_trace(self, text, count=1):
        self._reactor.wait_until(lambda: self.trace().count(text) >= count,
                                 lambda: f"{count} x {text!r} in the trace of {self.label}; it holds: {self.trace()[-2000:]}")

    def wait(self, seconds=15):
        """Waits for the program to end. Returns its exit code, which is negative for a signal."""
        try:
            return self.process.wait(seconds * PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise AssertionError(f"{self.label} did not end within {seconds * PATIENCE:g} s") from None

    def stop(self, number=signal.SIGINT, seconds=5):
        """Ends the program as Ctrl-C does. Returns its exit code."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        return self.wait(seconds)

    def close(self):
        """Ends the program. Returns the report of a crash or of a sanitizer, if there is one."""
        crashed = self.process.poll()
        if crashed is None:
            try:
                crashed = self.stop()
            except AssertionError as error:
                return str(error)
        self._reactor.remove(self._output)
        self._output.close()
        self.process.stdin.close()
        errors = self.errors()
        if any(sign in errors for sign in ("Sanitizer", "runtime error:", "wine: Unhandled", "terminate called")):
            return f"{self.label}: {errors[-4000:]}"
        if crashed in (-signal.SIGSEGV, -signal.SIGABRT, -signal.SIGBUS, -signal.SIGFPE, -signal.SIGILL):
            return f"{self.label} crashed with signal {-crashed}: {errors[-4000:]}"
        return None


class Said(Program):
    """A program whose whole output is kept."""

    def __init__(self, *arguments):
        self.output = b""
        super().__init__(*arguments)

    def _read(self):
        self.output += self._new_output()

    def result(self):
        """Waits for the end and returns the exit code and the output."""
        self._reactor.wait_until(lambda: self.ended, f"the end of {self.label}")
        return self.wait(), self.output.decode()

    def wait_for_output(self, text):
        self._reactor.wait_until(lambda: text in self.output.decode(), lambda: f"{text!r} in {self.output!r}")


class Watch(Program):
    """`kelseek watch --json`: the events of one component object."""

    def __init__(self, scenario, host, arguments, label):
        self.events = []
        self._fences = itertools.count(1)
        self._scenario = scenario
        super().__init__(scenario, host, arguments, label)

    def _take(self, line):
        super()._take(line)
        if "reason" in line:
            self.events.append(line)

    def expect(self, reason, seconds=15, again=None, **wanted):
        """Waits for an event with this reason and these values, among those not yet expected, and returns it. Calls `again`
        every two seconds until then."""
        wanted["reason"] = reason
        repeat = time.monotonic() + 2

        def matching():
            nonlocal repeat
            if again and time.monotonic() >= repeat:
                repeat = time.monotonic() + 2
                again()
            for event in self.events:
                if all(event.get(key) == value for key, value in wanted.items()):
                    self.events.remove(event)
                    return event
            return None

        return self._reactor.wait_until(matching, lambda: f"an event with {wanted} from {self.label}; there were "
                                        f"{self.events[-8:]}; lines: {self.lines[-8:]}; "
                                        f"trace: {self.trace()[-1000:]}", seconds)

    def expect_nothing_else(self, device):
        """Fails if anything sent so far has caused another event. Changes the release path of `device`, which must be listed;
        that event passes the same queues after all earlier ones. Announces the change again if a queue was full."""
        fence = f"/fence/{next(self._fences)}"
        for release in (fence, device.fields["release"]):
            device.fields["release"] = release
            device.announce()
            self.expect("updated", address=device.address, again=device.announce)
        self._scenario.assertEqual([], self.events)


class Scenario(unittest.TestCase):
    """A test with its own networks, hosts and devices."""

    def setUp(self):
        self.lab = netlab.Lab()
        self.addCleanup(self.lab.close)
        self.reactor = Reactor()
        self.addCleanup(self.reactor.close)
        self._taps, self._environments = {}, {}
        self._numbers = itertools.count(1)

    def network(self, name):
        """Creates a network. All its datagrams are recorded, see tap()."""
        network = self.lab.network(name)
        self._taps[network] = self._tap(self.lab.switch, network.bridge)
        return network

    def tap(self, network):
        return self._taps[network]

    def _tap(self, namespace, device):
        tap = wire.Tap(self.reactor, self.lab, namespace, device)
        self.addCleanup(tap.close)
        return tap

    def host(self, name, links=None):
        """Creates a host with one device (eth0, eth1, ...) for each entry of `links`, a network and its addresses."""
        host = self.lab.host(name)
        for number, (network, addresses) in enumerate((links or {}).items()):
            addresses = [addresses] if isinstance(addresses, str) else addresses
            host.connect(network, *addresses, device=f"eth{number}")
        return host

    def station(self, links, name="station", **settings):
        """Creates a workstation: a host configured with QUICK, overridden by `settings`."""
        host = self.host(name, links)
        self.configure(host, **settings)
        return host

    def configure(self, host, static=None, **settings):
        """Writes the configuration for programs started on this host from now on."""
        folder = pathlib.Path(self.lab.scratch) / f"config-{host.name}"
        folder.mkdir(exist_ok=True)
        (folder / "lanseekconf.xml").write_text(settings_file({**QUICK, **settings}), encoding="latin-1")
        if static is not None:
            (folder / "controllerid.xml").write_text(static_file(static), encoding="latin-1")
        registry = folder / "registry"
        registry.write_text(f"{_REGISTRY_KEY}\nConfigDir={folder}\n")
        self._environments[host] = {"KELLANSEEK_REGISTRY": str(registry)}

    def environment_of(self, host):
        return self._environments.get(host, {})

    def device(self, network, address, name=None, host=None, **fields):
        """Creates a controller at an address of a network ("10.1.0.11/24"), by default on its own host."""
        number = next(self._numbers)
        name = name or f"cell{number}"
        host = host or self.lab.host(name).connect(network, address)
        fields = {"system_id": f"{{5A-{number:04}}}", "mac": f"02-00-00-00-00-{number:02x}", **fields}
        device = wire.Device(self.reactor, host, address, name=name, **fields)
        self.addCleanup(device.close)
        return device

    def run_program(self, host, arguments, kind=Program):
        label = f"{pathlib.Path(arguments[0]).name}-{next(self._numbers)}"
        program = kind(self, host, arguments, label)

        def end():
            complaint = program.close()
            if complaint:
                self.fail(complaint)

        self.addCleanup(end)
        return program

    def kelseek(self, host, *arguments, kind=Program):
        return self.run_program(host, [*command("KELLANSEEK_KELSEEK"), *arguments], kind)

    def kelsim(self, host, *arguments):
        """Starts a simulated plant on this host."""
        return self.run_program(host, [*command("KELLANSEEK_KELSIM"), *map(str, arguments)])

    def watch(self, host, *arguments, ready_on=()):
        """Starts `kelseek watch` and waits for its first request on these networks: from then on it receives."""
        def count(network):
            return len(self.tap(network).find(destination_port=wire.REQUEST_PORT, payload=wire.FULL_REQUEST))

        before = {network: count(network) for network in ready_on}
        program = self.kelseek(host, "watch", "--json", *arguments, kind=Watch)
        for network, requests in before.items():
            self.reactor.wait_until(lambda: count(network) > requests,
                                    lambda: f"a request of {program.label} on {network.name}: {program.errors()}")
        return program

    def wait_until(self, predicate, what, seconds=15):
        return self.reactor.wait_until(predicate, what, seconds)


class OneNetwork(Scenario):
    """A scenario with a network, and a workstation on it."""

    def setUp(self):
        super().setUp()
        self.net = self.network("A")
        self.here = self.station({self.net: "10.1.0.1/24"})


def _cases(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from _cases(test)
        else:
            yield test.id().split(".", 1)[1]


def _run():
    result = unittest.main(exit=False).result
    if result.wasSuccessful() and result.testsRun == len(result.skipped):
        return SKIPPED
    return 0 if result.wasSuccessful() else 1


def main():
    """Runs the scenarios of the calling file; see the top of this file."""
    if sys.argv[1:] == ["--list"]:
        module = sys.modules["__main__"]
        print("\n".join(_cases(unittest.defaultTestLoader.loadTestsFromModule(module))))
        return
    try:
        sys.exit(netlab.run_private(_run))
    except netlab.Unavailable as reason:
        print(f"SKIPPED: no private networks on this system: {reason}")
        sys.exit(SKIPPED)

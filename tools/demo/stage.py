"""The stages of the demo, private networks with a plant or only this host, and the programs that run there."""

import os
import pathlib
import re
import shlex
import signal
import subprocess
import threading

import story
from screen import Shown

ROOT = pathlib.Path(__file__).resolve().parents[2]
SAMPLE = ROOT / "docs" / "samples" / "plant"
LEAD = 0.4  # seconds from an announcement to its event
RESPONSE_PORT = 5513
# A silent controller is lost within eight seconds. Less would not do, because published virtual controllers take up to 3.2
# seconds to answer.
QUICK = {"RefreshInterval": 3, "RefreshTimeout": 1, "Retries": 3,
         "NonLocalRefreshInterval": 2, "NonLocalRefreshTimeout": 1, "NonLocalRetries": 1}
REGISTRY = "[HKEY_LOCAL_MACHINE\\Software\\Tarnwell\\Velmora\\KelAPI]\nConfigDir={}\n"


class Failure(Exception):
    """The demo cannot continue, or an expected event did not appear; the text names it."""


def program(name):
    """The command for one of our programs: the release build's, unless a variable like KELLANSEEK_KELSIM names another."""
    built = ROOT / "build" / "release" / name
    command = shlex.split(os.environ.get(f"KELLANSEEK_{name.upper()}", "")) or [str(built)]
    if not os.access(command[-1], os.X_OK):
        raise Failure(f"{command[-1]} does not exist; run ./dev build")
    return command


def static_file():
    return (SAMPLE / "controllerid.xml").read_text(encoding="latin-1")


def configure(folder, static=None, **settings):
    """Writes the sample settings with short times, and a static file. Returns the environment variable that selects them."""
    text = (SAMPLE / "lanseekconf.xml").read_text(encoding="latin-1")
    for name, value in {**QUICK, **settings}.items():
        text, found = re.subn(f"(<{name}>).*(</{name}>)", rf"\g<1>{value}\g<2>", text)
        if not found:
            raise Failure(f"the sample configuration has no {name}")
    folder.mkdir()
    (folder / "lanseekconf.xml").write_text(text, encoding="latin-1")
    if static:
        (folder / "controllerid.xml").write_text(static, encoding="latin-1")
    (folder / "registry").write_text(REGISTRY.format(folder))
    return {"KELLANSEEK_REGISTRY": str(folder / "registry")}


class Stage:
    """Starts programs, shows their output, and ends them all."""

    def __init__(self, screen, folder, span):
        self.screen, self.folder, self.span = screen, pathlib.Path(folder), span
        self.running, self.ended = {}, set()
        self.station = None  # the workstation's host, if there are several

    def start(self, who, command, host=None, showing=None, **environment):
        # Without namespaces nothing else would end the programs if the demo is killed.
        guarded = command if host else ["setpriv", "--pdeathsig", "KILL", *command]
        popen = host.popen if host else subprocess.Popen
        shown = Shown(self.screen, who, popen, guarded, showing, env={**os.environ, **environment},
                      start_new_session=True)
        self.running[who] = shown
        return shown

    def simulate(self, who, plant, *options, host=None):
        """Starts a plant with its events of the story."""
        events = [f"--event={step.at * self.span + LEAD:.2f} {event}"
                  for step in self.steps for event in step.plants.get(plant, ())]
        self.start(who, [*program("kelsim"), "--quiet", "--delay-ms", "300", *options, *events], host)

    def watch(self, *options):
        return self.start("watch", [*program("kelseek"), "watch", *options], self.station, **self.configuration)

    def list(self):
        """Runs `kelseek list`. Shows only the rows that differ from the usual ones."""
        def showing(line):
            name = line.split()[1:2]
            return name != [] and (not name[0].startswith("Cell") or name[0] in self.notable)
        return self.start("list", [*program("kelseek"), "list"], self.station, showing, **self.configuration)

    def end(self, who):
        """Ends a program as Ctrl-C does."""
        self.ended.add(who)
        self.running[who].end(signal.SIGINT)
        code = self.running[who].process.returncode
        if code != 0:
            raise Failure(f"{who} ended with {code}")

    def kill(self, who):
        self.ended.add(who)
        self.running[who].end(signal.SIGKILL)

    def close(self):
        signal.signal(signal.SIGINT, signal.SIG_IGN)  # ignore an impatient second Ctrl-C
        for shown in reversed(self.running.values()):
            shown.end(signal.SIGINT)

    def ended_early(self):
        ended = {who for who, shown in self.running.items() if shown.process.poll() is not None}
        return sorted(ended - self.ended)


class Ear:
    """Counts one controller's datagrams received by a host: its announcement, and its answers to requests and refreshes."""

    def __init__(self, host, system_id):
        self.count = 0
        self._socket = host.udp_socket("", RESPONSE_PORT)
        self._answer = re.compile(rb"Lanseek;[0-9a-f]+;[12];(.*;)?4:%s;" % system_id.encode())
        threading.Thread(target=self._listen, daemon=True).start()

    def _listen(self):
        while True:
            self.count += self._answer.match(self._socket.recv(2000)) is not None


class Plant(Stage):
    """Two networks with controllers, a third network behind a router, and two hosts with the component."""

    controllers = 27  # expected by the final `kelseek list`
    notable = ("Cell4", "Cell5", "Cell17")
    stock = "Who is there at the end, from kelseek list; of those that are as they were, only the number:"
    lessons = ("Network A has the controllers Cell11 to Cell30, network B Cell31 to Cell35: broadcasts find them.",
               "Cell4 and Cell5 are behind a router: the workstation knows their addresses from its configuration.")

    def __init__(self, screen, folder, span, lab):
        super().__init__(screen, folder, span)
        self.steps = story.plant(self)
        a, b, far = (lab.network(name) for name in ("A", "B", "far"))
        self.station = lab.host("station").connect(a, "10.1.0.1/24").connect(b, "10.2.0.1/24", device="eth1")
        self.second = lab.host("second").connect(a, "10.1.0.2/24")
        self.on_a = lab.host("A").connect(a, "10.1.0.10/24")
        self.on_b = lab.host("B").connect(b, "10.2.0.10/24")
        self.far = lab.host("far").connect(far, "10.20.1.15/24", "10.20.1.16/24")
        router = lab.host("router").connect(a, "10.1.0.254/24").connect(far, "10.20.1.254/24", device="eth1")
        with router.inside():
            pathlib.Path("/proc/sys/net/ipv4/ip_forward").write_text("1")
        self.station.ip("route add 10.20.1.0/24 via 10.1.0.254")
        self.far.ip("route add default via 10.20.1.254")

    def open(self):
        self.simulate("plant A", "A", "--first=11", "--count=20", "--base-address=10.1.0.11", host=self.on_a)
        self.simulate("plant B", "B", "--first=31", "--count=5", "--base-address=10.2.0.31", host=self.on_b)
        self.simulate("far away", "far", "--first=4", "--count=2", "--listen=10.20.1.15",
                      "--event=0 identity 4 12-34567", host=self.far)
        self.configuration = configure(self.folder / "station", static_file())
        self.second_configuration = configure(self.folder / "second")
        self.ear = Ear(self.on_a, "SOFT-0001")
        self.watch()

    def publish(self, name, system_id):
        self.start(name, [*program("kelseek"), "vc", "run", "--publish", "--name", name, "--system-id", system_id],
                   self.second, **self.second_configuration)

    def plug(self, state):
        self.station.ip(f"link set eth1 {state}")

    def complaints(self):
        """The deviations of Soft1, which must be announced once, refreshed, and therefore known all the time."""
        appeared = sum(story.Promise("new", "Soft1", "RemoteVC").matches(line) for line in self.running["watch"].lines)
        refreshed = self.ear.count > 1 and appeared == 1
        return [] if refreshed else [
            f"Soft1 refreshed (it was heard {self.ear.count} times and reported as new {appeared} times)"]


class OneHost(Stage):
    """Controllers at loopback addresses of this host, which are polled; nothing is broadcast."""

    controllers = 2
    notable = ("Cell1", "Cell2")
    stock = "Whom the configuration alone leads to, from kelseek list:"
    lessons = ("Cell1 and Cell2 are in the configuration, Cell3 to Cell10 are added by address. All are polled.",
               "Broadcasts, virtual controllers of other hosts and lost networks need networks of their own.")

    def __init__(self, screen, folder, span):
        super().__init__(screen, folder, span)
        self.steps = story.one_host()
        # Concurrent demos must not share addresses.
        network = f"127.{1 + os.getpid() // 250 % 250}.{os.getpid() % 250}"
        self.addresses = [f"{network}.{number}" for number in range(11, 21)]

    def open(self):
        self.simulate("plant", "A", "--count=10", f"--listen={self.addresses[0]}")
        static = static_file().replace("12-34567", "{7A1C-0001}")
        for number, address in (("15", self.addresses[0]), ("16", self.addresses[1])):
            static = static.replace(f"10.20.1.{number}", address)
        self.configuration = configure(self.folder / "station", static, DynamicDetectionEnabled=0)
        self.watch(*(f"--add={address}" for address in self.addresses[2:]))

    def complaints(self):
        return []

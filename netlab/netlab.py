"""Hosts and networks that exist only inside one process: network namespaces joined by bridges.

run_private() moves the program into private namespaces (as root, or through a user namespace) and runs it there as the first
process, so that everything it leaves running, mounted or linked ends with it, even after `kill -9`. Inside, a Lab creates
Networks (bridges) and Hosts (anonymous namespaces, linked to networks by veth pairs). Several such programs can run side by
side. Uses only the standard library and iproute2.
"""

import contextlib
import ctypes
import itertools
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

_CLONE_NEWNS = 0x00020000
_CLONE_NEWUSER = 0x10000000
_CLONE_NEWPID = 0x20000000
_CLONE_NEWNET = 0x40000000
_MS_NOSUID_NODEV_NOEXEC = 2 | 4 | 8
_MS_BIND = 4096
_MS_REC_PRIVATE = 16384 | (1 << 18)
_PR_SET_PDEATHSIG = 1

_libc = ctypes.CDLL(None, use_errno=True)


class Unavailable(Exception):
    """This system does not permit namespaces; the text names the step that failed and the reason."""


def _check(result, what):
    if result != 0:
        raise Unavailable(f"{what}: {os.strerror(ctypes.get_errno())}")


def _mount(source, target, kind, flags, what):
    encode = lambda text: text.encode() if text else None
    _check(_libc.mount(encode(source), target.encode(), encode(kind), ctypes.c_ulong(flags), None), what)


def _write(path, text):
    with open(path, "w") as file:
        file.write(text)


def run_private(main):
    """Runs main() as the first process of private namespaces and returns its exit code.

    Raises Unavailable, without side effects, if that is not permitted. SIGINT and SIGTERM reach
    main() as KeyboardInterrupt and SystemExit.
    """
    if shutil.which("ip") is None:
        raise Unavailable("the command ip (package iproute2) is missing")
    _probe()
    signals = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGCHLD}
    signal.pthread_sigmask(signal.SIG_BLOCK, signals)
    _unshare()
    sys.stdout.flush()
    child = os.fork()
    if child == 0:
        os._exit(_first_process(main, signals))
    return _attend(child, signals)


def _probe():
    """Tries every step in a child process, so that a refusal does not affect this one."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            _unshare()
            if os.fork() == 0:
                _mount_private()
                _run_ip(["link add probe0 type veth peer name probe1", "link add probe2 type bridge"])
                os._exit(0)
            os._exit(os.waitstatus_to_exitcode(os.wait()[1]))
        except BaseException as error:  # the parent must learn of any failure
            os.write(writer, str(error).encode())
            os._exit(1)
    os.close(writer)
    with os.fdopen(reader, "rb") as pipe:
        reason = pipe.read().decode()
    if os.waitpid(child, 0)[1] != 0:
        raise Unavailable(reason or "namespaces are refused")


def _unshare():
    uid, gid = os.getuid(), os.getgid()
    flags = _CLONE_NEWNET | _CLONE_NEWNS | _CLONE_NEWPID
    if uid == 0 and _libc.unshare(flags) == 0:
        return
    _check(_libc.unshare(flags | _CLONE_NEWUSER), "no new namespaces, neither as root nor in a user namespace")
    _write("/proc/self/setgroups", "deny")
    _write("/proc/self/uid_map", f"0 {uid} 1")
    _write("/proc/self/gid_map", f"0 {gid} 1")


def _mount_private():
    _mount("none", "/", None, _MS_REC_PRIVATE, "the mounts cannot be made private")
    _mount("proc", "/proc", "proc", _MS_NOSUID_NODEV_NOEXEC, "no /proc of our own")


def _first_process(main, signals):
    _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    code = 1
    try:
        _mount_private()
        _mount_scratch()
        _run_ip(["link set lo up"])
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, lambda received, frame: sys.exit(128 + received))
        signal.signal(signal.SIGINT, signal.default_int_handler)
        signal.pthread_sigmask(signal.SIG_UNBLOCK, signals)
        code = main()
    except SystemExit as leaving:
        code = leaving.code
    except KeyboardInterrupt:
        code = 130
    except BaseException:
        sys.excepthook(*sys.exc_info())
    with contextlib.suppress(OSError, ValueError):
        sys.stdout.flush()
        sys.stderr.flush()
    return code if isinstance(code, int) else (0 if code is None else 1)


def _attend(child, signals):
    """Passes signals on to the first process until it ends, except the terminal's Ctrl-C, which it receives itself."""
    while True:
        received = signal.sigwaitinfo(signals)
        if received.si_signo == signal.SIGCHLD:
            pid, status = os.waitpid(child, os.WNOHANG)
            if pid == child:
                code = os.waitstatus_to_exitcode(status)
                return code if code >= 0 else 128 - code
        elif received.si_code <= 0:
            os.kill(child, received.si_signo)


_scratch = None


def _mount_scratch():
    """Mounts a file system in memory for the program's files, which ends with the program."""
    global _scratch
    used = {os.path.realpath(path) for path in (os.getcwd(), __file__, sys.executable, *sys.argv, *os.environ.values())}
    for place in ("/media", "/srv", "/mnt"):
        if os.path.isdir(place) and not any(path.startswith(place + "/") for path in used):
            _mount("scratch", place, "tmpfs", _MS_NOSUID_NODEV_NOEXEC & ~8, "no scratch file system")
            _scratch = place
            break
    else:
        raise Unavailable("no folder to mount a scratch file system on")
    _set_file("/etc/hosts", "127.0.0.1 localhost\n")
    _set_file("/etc/resolv.conf", "")


def _set_file(path, text):
    """Replaces a file by a text, for this program and its children only."""
    replacement = os.path.join(_scratch, path.strip("/").replace("/", "_"))
    fresh = not os.path.exists(replacement)
    _write(replacement, text)
    if fresh and os.path.exists(path):
        _mount(replacement, os.path.realpath(path), None, _MS_BIND, f"{path} cannot be replaced")


def _run_ip(lines):
    result = subprocess.run(["ip", "-batch", "-"], input="\n".join(lines), capture_output=True, text=True)
    if result.returncode != 0:
        raise OSError(f"ip: {result.stderr.strip()} in: {'; '.join(lines)}")


class Lab:
    """The hosts and networks of one test. close() takes them down; whoever started a process must end it."""

    def __init__(self):
        self.scratch = tempfile.mkdtemp(dir=_scratch)
        self._closing = contextlib.ExitStack()
        self._numbers = itertools.count()
        home = self._open_own_namespace()
        try:
            self.switch = self.new_namespace(home)
        finally:
            os.close(home)

    def _open_own_namespace(self):
        return os.open("/proc/thread-self/ns/net", os.O_RDONLY)

    def new_namespace(self, back_to):
        """Creates a network namespace, which exists as long as something refers to it, and returns its descriptor."""
        _check(_libc.unshare(_CLONE_NEWNET), "no new network namespace")
        try:
            descriptor = self._open_own_namespace()
        finally:
            _libc.setns(back_to, _CLONE_NEWNET)
        self._closing.callback(os.close, descriptor)
        return descriptor

    @contextlib.contextmanager
    def inside(self, namespace):
        """Runs the block in that namespace, for this thread only. Must not be nested."""
        before = self._open_own_namespace()
        _check(_libc.setns(namespace, _CLONE_NEWNET), "setns")
        try:
            yield
        finally:
            _libc.setns(before, _CLONE_NEWNET)
            os.close(before)

    def ip(self, namespace, *lines):
        with self.inside(namespace):
            _run_ip(lines)

    def wait_for_link(self, namespace, device, state):
        """Waits until the kernel reports the state of a device."""
        deadline = time.monotonic() + 10
        with self.inside(namespace):
            while state not in subprocess.run(["ip", "-d", "link", "show", device], capture_output=True, text=True,
                                              check=True).stdout:
                if time.monotonic() > deadline:
                    raise OSError(f"{device} does not reach the {state}")
                time.sleep(0.002)

    def name_hosts(self, names):
        """Sets the names of addresses, for everything started from this program."""
        _set_file("/etc/hosts", "127.0.0.1 localhost\n" + "".join(f"{a} {n}\n" for a, n in names.items()))

    def network(self, name):
        return Network(self, name)

    def host(self, name):
        return Host(self, name)

    def next_number(self):
        return next(self._numbers)

    def close(self):
        self._closing.close()
        shutil.rmtree(self.scratch, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *error):
        self.close()


class Network:
    """A broadcast domain: a bridge that connects hosts."""

    def __init__(self, lab, name):
        self.lab, self.name = lab, name
        self.bridge = f"net{lab.next_number()}"
        lab.ip(lab.switch, f"link add {self.bridge} type bridge", f"link set {self.bridge} up")


class Host:
    """A host with network devices of its own."""

    def __init__(self, lab, name):
        self.lab, self.name = lab, name
        with lab.inside(lab.switch):
            self.namespace = lab.new_namespace(lab.switch)
        self.ip("link set lo up")
        with self.inside():
            # Disables the reverse path filter: programs must receive datagrams from any source and judge them themselves.
            for setting in ("all", "default"):
                _write(f"/proc/sys/net/ipv4/conf/{setting}/rp_filter", "0")

    def inside(self):
        return self.lab.inside(self.namespace)

    def ip(self, *lines):
        """Runs iproute2 commands on this host, for example "addr add 10.0.0.2/24 brd + dev eth0"."""
        self.lab.ip(self.namespace, *lines)

    def connect(self, network, *addresses, device="eth0"):
        """Connects a new device with these addresses ("10.0.0.1/24") to a network."""
        port = f"port{self.lab.next_number()}"
        far_end = f"/proc/{os.getpid()}/fd/{self.namespace}"
        self.lab.ip(self.lab.switch,
                    f"link add {port} type veth peer name {device} netns {far_end}",
                    f"link set {port} master {network.bridge} up")
        self.ip(f"link set {device} up", *(f"addr add {a} brd + dev {device}" for a in addresses))
        # The kernel activates a new link with a delay, and loses datagrams sent before.
        self.lab.wait_for_link(self.lab.switch, port, "state forwarding")
        self.lab.wait_for_link(self.namespace, device, "state UP")
        return self

    def disconnect(self, device="eth0"):
        """Removes the device with its addresses."""
        self.ip(f"link del {device}")

    def udp_socket(self, address="", port=0):
        """A datagram socket of this host that may broadcast. Without an address it receives everything."""
        with self.inside():
            endpoint = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        endpoint.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        endpoint.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        endpoint.bind((address, port))
        return endpoint

    def popen(self, command, **options):
        """Starts a program on this host."""
        with self.inside():
            return subprocess.Popen(command, **options)

"""The discovery datagrams, a recorder of network traffic, and scripted controllers."""

import collections
import contextlib
import ipaddress
import socket
import struct
import time

REQUEST_PORT = 5512
RESPONSE_PORT = 5513
NON_LOCAL_PORT = 5514

INFO, ALIVE, RESTART, POWER_DOWN, FULL, TARGETED, REFRESH = range(1, 8)

FULL_REQUEST = b"Lanseek;0d;5;"
REFRESH_REQUEST = b"Lanseek;0d;7;"


def datagram(kind, *fields):
    """A datagram with its correct length: two hexadecimal digits, or three if it is longer than 255 bytes."""
    rest = b";%x;" % kind + b"".join(
        b"%x:%s;" % (tag, value if isinstance(value, bytes) else str(value).encode("cp1252")) for tag, value in fields)
    length = 8 + 2 + len(rest)
    if length > 0xFF:
        length += 1
    return b"Lanseek;%02x" % length + rest


def parse(text):
    """(kind, list of (tag, value)) of a well-formed datagram. Asserts that its length field is correct."""
    magic, length, kind, *fields = text.decode("cp1252").rstrip(";").split(";")
    assert magic == "Lanseek" and int(length, 16) == len(text), text
    pairs = [field.split(":", 1) for field in fields]
    return int(kind, 16), [(int(tag, 16), value) for tag, value in pairs]


Seen = collections.namedtuple("Seen", "time mac source source_port destination destination_port payload")


class Tap:
    """Records all UDP datagrams on a device of a namespace, in order, as on the wire."""

    def __init__(self, reactor, lab, namespace, device):
        self.seen = []
        self._reactor = reactor
        with lab.inside(namespace):
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0800))
            index = socket.if_nametoindex(device)
        self._socket.setblocking(False)
        with contextlib.suppress(OSError):
            self._socket.setsockopt(socket.SOL_SOCKET, 33, 16 << 20)  # SO_RCVBUFFORCE, for floods
        self._socket.bind((device, 0x0800))
        promiscuous = struct.pack("iHH8s", index, 1, 0, b"")
        self._socket.setsockopt(263, 1, promiscuous)  # SOL_PACKET, PACKET_ADD_MEMBERSHIP
        reactor.add(self._socket, self._read)

    def _read(self):
        now = time.monotonic()
        with contextlib.suppress(BlockingIOError):
            for _ in range(500):
                frame = self._socket.recv(65535)
                ip = frame[14:]
                header = (ip[0] & 15) * 4
                fragment = struct.unpack_from("!H", ip, 6)[0] & 0x1FFF
                if ip[9] != socket.IPPROTO_UDP or fragment:
                    continue
                source_port, destination_port, length = struct.unpack_from("!HHH", ip, header)
                self.seen.append(Seen(now, frame[6:12].hex(":"), socket.inet_ntoa(ip[12:16]), source_port,
                                      socket.inet_ntoa(ip[16:20]), destination_port,
                                      ip[header + 8:header + length]))

    def find(self, **wanted):
        """The datagrams whose fields have these values; a value may be a predicate, for example for `payload`."""
        return [one for one in self.seen if all(
            value(getattr(one, name)) if callable(value) else getattr(one, name) == value
            for name, value in wanted.items())]

    def wait_for(self, count=1, seconds=15, **wanted):
        """Waits for `count` such datagrams and returns all seen so far."""
        return self._reactor.wait_until(
            lambda: (lambda found: found if len(found) >= count else None)(self.find(**wanted)),
            lambda: f"{count} datagram(s) with {wanted}; on the wire were {self.seen[-12:]}", seconds)

    def close(self):
        self._reactor.remove(self._socket)
        self._socket.close()


class Device:
    """A scripted controller: receives requests at its host and answers them.

    `answers` maps requests to answers; empty, it makes the device silent. `by` is "broadcast" (to the response port, as
    controllers do) or "unicast" (to the sender, as requests to the non-local port are always answered). All requests
    are recorded in `heard`.
    """

    def __init__(self, reactor, host, interface, system_id, mac, name="", **fields):
        self.interface = ipaddress.ip_interface(interface)
        self.address = str(self.interface.ip)
        self.broadcast = str(self.interface.network.broadcast_address)
        self.name, self.system_id, self.mac = name, system_id, mac
        self.fields = {"ctrl_id": f"ctrl-{system_id}", "system_name": "Line1", "release": "/hd0a/Line1",
                       "version": (6, 10, 2, 5), "port": 0, "level": 0, "kind": 1, **fields}
        self.answers = {FULL: INFO, TARGETED: INFO, REFRESH: ALIVE}
        self.by = "broadcast"
        self.heard = []
        self.host = host
        self._reactor = reactor
        self._sender = host.udp_socket(self.address)
        self._listeners = [host.udp_socket("", REQUEST_PORT), host.udp_socket(self.address, NON_LOCAL_PORT)]
        for listener in self._listeners:
            listener.setblocking(False)
            reactor.add(listener, lambda listener=listener: self._hear(listener))

    def identity(self):
        f = self.fields
        texts = [(1, self.name), (2, f["ctrl_id"]), (3, f["system_name"]), (4, self.system_id), (5, f["release"]),
                 (9, self.mac)]
        major, minor, revision, compatibility = f["version"]
        return datagram(INFO, *((tag, text) for tag, text in texts if text), (7, major), (8, minor), (0xF, revision),
                        (0x10, compatibility), (0xB, f["port"]), (0xC, f["level"]), (0x11, f["kind"]))

    def presence(self):
        return datagram(ALIVE, (4, self.system_id), (9, self.mac), (0x11, self.fields["kind"]))

    def notice(self, kind):
        return datagram(kind, (4, self.system_id), (0x11, self.fields["kind"]))

    def announce(self):
        self.send(self.identity())

    def send(self, payload, address=None, port=RESPONSE_PORT):
        """Sends from this device's address, by default as a broadcast to the response port."""
        self._sender.sendto(payload, (address or self.broadcast, port))

    def close(self):
        for listener in self._listeners:
            self._reactor.remove(listener)
            listener.close()
        self._sender.close()

    def _hear(self, listener):
        try:
            payload, source = listener.recvfrom(2000)
            kind, fields = parse(payload)
        except (OSError, AssertionError, ValueError):
            return
        self.heard.append(payload)
        if kind == TARGETED and dict(fields).get(0xA) != self.address:
            return
        answer = {INFO: self.identity, ALIVE: self.presence}.get(self.answers.get(kind))
        if answer is None:
            return
        if listener is self._listeners[1]:
            listener.sendto(answer(), source)
        elif self.by == "unicast":
            self.send(answer(), *source)
        else:
            with contextlib.suppress(OSError):  # the network may have disappeared
                self.send(answer())

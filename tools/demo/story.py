"""The steps of the demo: their times, announcements, actions, and the events that the workstation must then report."""

import dataclasses
import re
from typing import Callable


@dataclasses.dataclass(frozen=True)
class Promise:
    """An expected line of `kelseek watch`."""

    reason: str
    name: str
    kind: str = "RC"

    def matches(self, line):
        columns = re.split(" {2,}", line)
        return len(columns) > 4 and (columns[1], columns[2], columns[4]) == (self.reason, self.kind, self.name)

    def __str__(self):
        return f"{self.reason} of {self.name}"


def promises(reason, *names, kind="RC"):
    return [Promise(reason, name, kind) for name in names]


@dataclasses.dataclass
class Step:
    at: float  # share of the demo's time
    text: str | Callable
    promises: list = dataclasses.field(default_factory=list)
    plants: dict = dataclasses.field(default_factory=dict)  # script lines for kelsim without their times, by plant
    act: Callable = lambda: None


def cells(first, last):
    return [f"Cell{number}" for number in range(first, last + 1)]


def plant(stage):
    return _first_half(stage) + _second_half(stage)


def _first_half(stage):
    def publish():
        stage.publish("Soft1", "SOFT-0001")
        stage.publish("Soft2", "SOFT-0002")

    return [
        Step(0, "A workstation on both networks searches for controllers.",
             promises("new", *cells(11, 35)) + promises("reconnected", "Cell4", "Cell5")),
        Step(0.03, "A second host publishes two virtual controllers, Soft1 and Soft2.",
             promises("new", "Soft1", "Soft2", kind="RemoteVC"), act=publish),
        Step(0.12, "Soft2 is killed, Cell12 and Cell5 fall silent, without notice: the workstation must find out.",
             promises("lost-connection", "Soft2", kind="RemoteVC") + promises("lost-connection", "Cell12", "Cell5"),
             {"A": ["silent 12"], "far": ["silent 5"]}, lambda: stage.kill("Soft2")),
        Step(0.24, "Cell13 and Cell14 restart, Cell15 powers down.",
             promises("restart", "Cell13", "Cell14") + promises("power-down", "Cell15")
             + promises("new", "Cell13", "Cell14"), {"A": ["restart 13-14 2", "power-down 15"]}),
        Step(0.31, "Cell16 gets the name Press, Cell17 the address 10.1.0.117.",
             promises("updated", "Press") + promises("new", "Cell17"),
             {"A": ["rename 16 Press", "address 17 10.1.0.117"]}),
        Step(0.37, "Collisions: Cell19 takes the address of Cell18, Cell21 the system identity of Cell20.",
             promises("address-collision", "Cell18") + promises("system-id-collision", "Cell20")
             + promises("new", "Cell18", "Cell20"),
             {"A": ["same-address 19 18", "same-identity 21 20"]}),
        Step(0.44, "Cell19 and Cell21 get back their own address and identity.",
             plants={"A": ["address 19 10.1.0.19", "identity 21 {7A1C-0021}"]}),
    ]


def _second_half(stage):
    return [
        Step(0.5, "The cable to network B is pulled out of the workstation.",
             promises("lost-lan", *cells(31, 35)), act=lambda: stage.plug("down")),
        Step(0.6, "The cable is plugged in again.", promises("new", *cells(31, 35)), act=lambda: stage.plug("up")),
        Step(0.67, "Cell22 to Cell30 lose every tenth datagram for a while, and are asked again.",
             plants={"A": ["loss 22-30 10"]}),
        Step(0.75, "Cell12 and Cell5 speak again, Cell15 is switched on.",
             promises("new", "Cell12", "Cell15") + promises("reconnected", "Cell5"),
             {"A": ["speak 12", "announce 12", "power-up 15"], "far": ["speak 5"]}),
        Step(0.87, lambda: f"Soft1, which was heard {stage.ear.count} times so far, is stopped with Ctrl-C.",
             promises("power-down", "Soft1", kind="RemoteVC"), {"A": ["loss 22-30 0"]}, lambda: stage.end("Soft1")),
    ]


def one_host():
    return [
        Step(0, "A workstation polls ten controllers.", promises("reconnected", *cells(1, 10))),
        Step(0.15, "Cell2 and Cell3 fall silent, Cell4 powers down: their polls stay unanswered.",
             promises("lost-connection", "Cell2", "Cell3", "Cell4"), {"A": ["silent 2-3", "power-down 4"]}),
        Step(0.4, "Cell5 to Cell10 lose every tenth datagram from now on.", plants={"A": ["loss 5-10 10"]}),
        Step(0.6, "Cell2 and Cell3 are heard again, Cell4 is switched on under the name Press.",
             promises("reconnected", "Cell2", "Cell3", "Press"),
             {"A": ["speak 2-3", "rename 4 Press", "power-up 4"]}),
        Step(0.8, "No more datagrams get lost.", plants={"A": ["loss 5-10 0"]}),
    ]

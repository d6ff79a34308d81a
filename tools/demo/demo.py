"""A simulated plant on private networks, and a workstation that watches it. Ends by itself and leaves nothing behind.

Where the system allows no private networks it shows less: controllers that are polled at addresses of this host.
"""

import argparse
import contextlib
import os
import pathlib
import signal
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "netlab"))

import netlab  # noqa: E402
from screen import Screen  # noqa: E402
from stage import LEAD, Failure, OneHost, Plant, program  # noqa: E402

SHORTEST = 25  # in less time, silent controllers would not be lost
# Extra seconds for the remaining expected output, for busy machines.
PATIENCE = 12 * float(os.environ.get("KELLANSEEK_PATIENCE", "1"))


def pause_until(moment):
    time.sleep(max(0.0, moment - time.monotonic()))


def play(stage):
    """Runs the story. Raises Failure with the list of expected events that did not appear."""
    for lesson in stage.lessons:
        stage.screen.text(f"  {lesson}")
    began = time.monotonic()
    stage.open()
    watch = stage.running["watch"]
    awaited = []
    for step in stage.steps:
        pause_until(began + step.at * stage.span)
        stage.screen.announce(step.text() if callable(step.text) else step.text)
        # What the first step promises may be seen before it is announced.
        since = len(watch.lines) if step.at > 0 else 0
        awaited += [(promise, since) for promise in step.promises]
        pause_until(began + step.at * stage.span + LEAD)
        step.act()
    pause_until(began + stage.span)
    missing = await_promises(stage, watch, awaited) + stage.complaints() + take_stock(stage)
    if missing:
        raise Failure("not seen: " + "; ".join(missing))


def await_promises(stage, watch, awaited):
    deadline = time.monotonic() + PATIENCE
    while True:
        if stage.ended_early():
            raise Failure("ended too early: " + ", ".join(stage.ended_early()))
        awaited = [(promise, since) for promise, since in awaited
                   if not any(promise.matches(line) for line in watch.lines[since:])]
        if not awaited or time.monotonic() > deadline:
            return [str(promise) for promise, _ in awaited]
        time.sleep(0.1)


def take_stock(stage):
    """Shows the list of controllers. Returns the deviations from the expected one."""
    stage.end("watch")
    stage.screen.announce(stage.stock)
    shown = stage.list()
    shown.wait(PATIENCE)
    stage.ended.add("list")
    counted = any(line.startswith(f"{stage.controllers} controllers;") for line in shown.lines)
    return [] if counted else [f"{stage.controllers} controllers in the list"]


def show(make, screen):
    """Runs the demo on a stage, takes the stage down and returns the exit code."""
    try:
        with contextlib.ExitStack() as closing:
            stage = make(closing)
            closing.callback(stage.close)
            play(stage)
    except Failure as failure:
        screen.announce(f"FAILED: {failure}")
        return 1
    except KeyboardInterrupt:
        screen.announce("Interrupted; everything has been taken down.")
        return 130
    screen.announce("All announced events were seen; everything has been taken down.")
    return 0


def in_private_networks(screen, span):
    def make(closing):
        lab = closing.enter_context(netlab.Lab())
        return Plant(screen, lab.scratch, span, lab)

    return netlab.run_private(lambda: show(make, screen))


def on_this_host(screen, span):
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda received, frame: sys.exit(128 + received))
    return show(lambda closing: OneHost(screen, closing.enter_context(tempfile.TemporaryDirectory()), span), screen)


def run(options):
    screen = Screen(time.monotonic())
    span = options.seconds - 3  # the final list listens for two seconds
    for name in ("kelseek", "kelsim"):
        program(name)
    if options.no_namespaces:
        return on_this_host(screen, span)
    try:
        return in_private_networks(screen, span)
    except netlab.Unavailable as reason:
        screen.text(f"This system permits no private networks ({reason}), so this is the smaller demo.")
        return on_this_host(screen, span)


def main():
    parser = argparse.ArgumentParser(prog="demo", description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=60, help="duration (default 60)")
    parser.add_argument("--no-namespaces", action="store_true", help="show the smaller demo without private networks")
    options = parser.parse_args()
    if not SHORTEST <= options.seconds <= 86400:
        parser.error(f"--seconds takes {SHORTEST} to 86400")
    try:
        return run(options)
    except Failure as failure:
        print(f"demo: {failure}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())

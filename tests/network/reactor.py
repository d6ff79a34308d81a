"""A thread that reads all sockets and pipes of a scenario, and a way to wait for their data."""

import contextlib
import os
import selectors
import threading
import time

# Factor for all deadlines, for slow builds (sanitizers, emulation). Deadlines only bound failures; no test sleeps.
PATIENCE = float(os.environ.get("KELLANSEEK_PATIENCE", "1"))


class Reactor:
    """Calls the callback of each readable file, one at a time, under the lock that wait_until() holds too."""

    def __init__(self):
        self._selector = selectors.DefaultSelector()
        self._changed = threading.Condition()
        self._wake_reader, self._wake_writer = os.pipe()
        self._selector.register(self._wake_reader, selectors.EVENT_READ, None)
        self._stopping = False
        self._thread = threading.Thread(target=self._run, name="reactor", daemon=True)
        self._thread.start()

    def add(self, file, on_readable):
        with self._changed:
            self._selector.register(file, selectors.EVENT_READ, on_readable)
        os.write(self._wake_writer, b"x")

    def remove(self, file):
        """Removes a file. On return its callback is not running and will not be called again."""
        with self._changed:
            with contextlib.suppress(KeyError, ValueError):  # not there, or closed already
                self._selector.unregister(file)

    def wait_until(self, predicate, what, seconds=15):
        """Waits until predicate() is true and returns its result. `what` describes it in a failure."""
        deadline = time.monotonic() + seconds * PATIENCE
        with self._changed:
            while True:
                result = predicate()
                if result:
                    return result
                left = deadline - time.monotonic()
                if left <= 0:
                    raise AssertionError(f"not seen within {seconds * PATIENCE:g} s: "
                                         f"{what() if callable(what) else what}")
                self._changed.wait(min(left, 0.5))

    def close(self):
        self._stopping = True
        os.write(self._wake_writer, b"x")
        self._thread.join()
        self._selector.close()
        os.close(self._wake_reader)
        os.close(self._wake_writer)

    def _run(self):
        while not self._stopping:
            for key, _ in self._selector.select():
                if key.fileobj == self._wake_reader:
                    os.read(self._wake_reader, 100)
                    continue
                with self._changed:
                    if self._selector.get_map().get(key.fd, None) is key:
                        key.data()
                        self._changed.notify_all()

"""`kelseek watch` in a real terminal: the full-screen table, and the terminal that it leaves behind."""

import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import unittest

import harness
import wire


class Terminal:
    """A terminal of tmux with a shell on a host."""

    PROMPT = "ready>"

    def __init__(self, scenario, host, columns, rows):
        self._scenario = scenario
        self._tmux = ["tmux", "-u", "-f", "/dev/null", "-S", str(pathlib.Path(scenario.lab.scratch) / "tmux")]
        # The shell survives the end of its terminal, to tell how a program in it ended.
        shell = shlex.join(["env", *(f"{name}={value}" for name, value in scenario.environment_of(host).items()),
                            f"PS1={self.PROMPT} ", "sh"])
        start = host.popen([*self._tmux, "new-session", "-d", "-x", str(columns), "-y", str(rows), shell])
        scenario.assertEqual(0, start.wait())
        scenario.addCleanup(subprocess.run, [*self._tmux, "kill-server"], stderr=subprocess.DEVNULL)
        self.wait_for(self.PROMPT)

    def tmux(self, *arguments):
        return subprocess.run([*self._tmux, *arguments], check=True, capture_output=True, text=True).stdout

    def keys(self, *keys):
        self.tmux("send-keys", *keys)

    def text(self):
        return self.tmux("capture-pane", "-p")

    def settings(self):
        terminal = self.tmux("display-message", "-p", "#{pane_tty} #{alternate_on} #{cursor_flag} #{wrap_flag}").split()
        return terminal, subprocess.run(["stty", "-a", "-F", terminal[0]], check=True, capture_output=True, text=True).stdout

    def wait_for(self, pattern):
        """Waits until the terminal shows a text that the pattern describes."""
        return self._scenario.wait_for_match(pattern, self.text)


@unittest.skipIf(harness.UNDER_WINE, "the terminals of tmux are no consoles")
@unittest.skipUnless(shutil.which("tmux"), "the command tmux is missing")
class FullScreen(harness.OneNetwork):
    def setUp(self):
        super().setUp()
        self.terminal = Terminal(self, self.here, 120, 30)
        self.before = self.terminal.settings()

    def wait_for_match(self, pattern, text):
        def matching():
            try:
                self.assertRegex(text(), pattern)
            except AssertionError:
                return False
            return True

        self.wait_until(matching, lambda: f"{pattern!r} in {text()}")

    def watch(self):
        """Starts kelseek by a script, which stores its process and its exit code."""
        self.scratch = pathlib.Path(self.lab.scratch)
        program = shlex.join(harness.command("KELLANSEEK_KELSEEK"))
        start = shlex.quote(f"echo $$ >{self.scratch}/pid; exec {program} watch")
        (self.scratch / "script").write_text(f"sh -c {start}\necho $? >{self.scratch}/code\n")
        self.terminal.keys(f"sh {self.scratch}/script", "Enter")
        self.terminal.wait_for(r"\Akelseek watch  .*0 listed")
        self.assertNotEqual(self.before, self.terminal.settings())

    def signal(self, number):
        os.kill(int((self.scratch / "pid").read_text()), number)

    def expect_former_terminal(self):
        prompt = self.terminal.PROMPT
        self.terminal.wait_for(rf"\A{prompt} sh (.*\n)+{prompt}\s*\Z")
        self.assertNotIn("listed", self.terminal.text())
        self.assertEqual(self.before, self.terminal.settings())

    def test_a_controller_is_seen_filtered_and_lost(self):
        self.watch()
        self.terminal.wait_for(r"No controllers\.\s+kelseek doctor finds out more")
        device = self.device(self.net, "10.1.0.11/24", name="cell", system_id="{5A-1}")
        device.announce()
        self.terminal.wait_for(rf"(?s)1 listed  1 available, 0 not.* {device.address} .*-- events -.*cell +new ")
        self.terminal.keys("/", "x", "y")
        self.terminal.wait_for(r'(?s)0 match "xy".*No controller matches.*/xy_')
        self.terminal.keys("BSpace", "BSpace", "5", "a", "Enter")
        self.terminal.wait_for(rf'(?s)1 match "5a".* {device.address} ')
        self.terminal.tmux("resize-window", "-x", "40", "-y", "10")
        self.terminal.wait_for(rf"(?s)\A1 listed.*\n  NAME\^     ADDRESS          STATUS\n.* {device.address} +available\n")
        device.send(device.notice(wire.POWER_DOWN))
        self.terminal.wait_for(r"(?s)\A0 listed.*No controllers\..*power down")
        self.terminal.keys("q")
        self.terminal.tmux("resize-window", "-x", "120", "-y", "30")
        self.expect_former_terminal()

    def test_every_end_restores_the_terminal(self):
        for end in (lambda: self.terminal.keys("C-c"), lambda: self.signal(signal.SIGTERM),
                    lambda: self.signal(signal.SIGHUP)):
            self.watch()
            end()
            self.expect_former_terminal()
            self.terminal.keys("clear", "Enter")
            self.terminal.wait_for(rf"\A{self.terminal.PROMPT}\s*\Z")

    def test_a_lost_terminal_is_a_failure(self):
        self.terminal.keys("trap '' HUP; clear", "Enter")
        self.watch()
        self.terminal.tmux("kill-server")
        self.wait_until((self.scratch / "code").exists, "the end of kelseek")
        self.wait_for_match("3\n", (self.scratch / "code").read_text)


if __name__ == "__main__":
    harness.main()

"""Tests the manual pages and the completion.  manual_test.py SHARE KELSEEK KELSIM"""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

SHARE, *PROGRAMS = [pathlib.Path(argument).resolve() for argument in sys.argv[1:4]]
del sys.argv[1:]

# What bash does on the tab key. `compopt` works in a real completion only.
BASH = r"""
source "$1/bash-completion/completions/$2"
compopt() { echo "$*"; }
COMP_WORDS=("${@:2}") COMP_CWORD=$(($# - 2))
"_$2"
for candidate in "${COMPREPLY[@]}"; do echo "$candidate"; done
"""
FILES, DIRECTORIES = "-o default", "-o dirnames"


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=30, check=True).stdout


def help_of(program, *commands):
    """Pairs of a command's words and its help, for the program and all its commands."""
    text = output(program, *commands, "--help")
    yield commands, text
    for name in re.findall(r"^  ([\w-]+) ", text.partition("\nSubcommands:\n")[2], re.M):
        yield from help_of(program, *commands, name)


class Manual(unittest.TestCase):
    def test_every_command_and_option_stands_in_its_page(self):
        for program in PROGRAMS:
            page = (SHARE / f"man/man1/{program.name}.1").read_text(encoding="utf-8").replace("\\-", "-")
            for commands, text in help_of(program):
                names = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", text, re.M)) - ({"--help"} if commands else set())
                heading = f'\n.SS "{" ".join(commands)}"\n' if commands else "\n.SH OPTIONS\n"
                part = page.partition(heading)[2].partition("\n.S")[0]
                with self.subTest(program.name, commands=commands):
                    self.assertEqual(names, set(re.findall(r"^\\fB.*?(--[\w-]+)", part, re.M)))
                    self.assertTrue(part or "\nSubcommands:\n" in text)

    def test_pages_are_complete_and_clean(self):
        for page in [SHARE / "man" / name for name in ("man1/kelseek.1", "man1/kelsim.1", "man7/kellanseek.7")]:
            self.assertNotRegex(page.read_text(encoding="utf-8"), r"@[A-Z]+@|[^\n\x20-\x7e]")
            if shutil.which("groff"):
                self.assertEqual("", output("sh", "-c", f"groff -man -ww -z {page} 2>&1"))

    def test_bash_completes(self):
        for line, *expected in (
                ("kelseek l", "list"), ("kelseek vc ", "run"), ("kelseek un", "unregister"), ("kelseek list x",),
                ("kelseek --m", "--module"), ("kelseek list --w", "--wait"), ("kelseek list --wait ",),
                ("kelseek list --wait = 3",), ("kelseek --module ", FILES), ("kelseek list --module = li", FILES),
                ("kelseek list --module =", FILES), ("kelseek --module list sh", "show"),
                ("kelseek --module = list sh", "show"), ("kelseek check-config ", DIRECTORIES),
                ("kelseek check-config /etc --he", "--help"), ("kelseek init-config d --u", "--use"),
                ("kelseek vc run --sy", "--system-id", "--system-name"), ("kelseek vc run --path ",), ("kelseek show a = --j",),
                ("kelseek vc run --name list --pu", "--publish"), ("kelseek doctor 10.1.0.1 10.",),
                ("kelseek show 10.1.0.1 --j", "--json"), ("kelsim --script ", FILES), ("kelsim -q --lo", "--loss"),
                ("kelsim --listen 10.0.0.1 --ev", "--event"), ("kelsim --ad", "--address")):
            with self.subTest(line):
                candidates = output("bash", "-uc", BASH, "bash", SHARE, *line.split(" ")).splitlines()
                self.assertEqual(expected, candidates)

    def test_zsh_reads_its_scripts(self):
        for program in PROGRAMS:
            script = SHARE / f"zsh/site-functions/_{program.name}"
            self.assertTrue(script.read_text(encoding="utf-8").startswith(f"#compdef {program.name}\n"))
            if shutil.which("zsh"):
                self.assertEqual("", output("zsh", "-n", script))


if __name__ == "__main__":
    unittest.main()

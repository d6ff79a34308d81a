"""Tests kelseek's arguments, messages and exit codes, as far as they need no network.  command_line_test.py KELSEEK"""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

KELSEEK = pathlib.Path(sys.argv.pop())
MODULE_NAME = "libKelLanSeek.so.1"  # the only name in a package for users
FOUND, NOTHING_FOUND, WRONG_USE, COMPONENT_FAILED = range(4)


class CommandLine(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name).resolve()

    def run_kelseek(self, *arguments, program=KELSEEK, **environment):
        registry = {"KELLANSEEK_REGISTRY": str(self.folder / "registry")}
        return subprocess.run([program, *arguments], capture_output=True, text=True, timeout=30, cwd=self.folder,
                              env={**os.environ, **registry, **environment})

    def test_wrong_use_is_reported(self):
        for arguments in ([], ["lst"], ["list", "extra"], ["list", "--wait", "-1"], ["list", "--wait", "soon"], ["show"],
                          ["list", "--wait", "nan"], ["refresh", "--wait", "-nan"], ["watch", "--seconds", "inf"],
                          ["add"], ["add", "10.1.0"], ["add", "10.1.0.256"], ["add", "host"], ["watch", "--seconds", "x"],
                          ["watch", "--add", "10.1"], ["list", "watch"], ["--module"], ["list", "--filter", "colour=red"],
                          ["watch", "--filter", "name"], ["show", "cell", "--filter", "kind=robot"], ["list", "--sort", "-size"],
                          ["refresh", "--interface", "nowhere9"], ["list", "--config", "missing"],
                          ["list", "--format", "xml"], ["list", "--json", "--format", "csv"], ["scan"], ["scan", "10.1"],
                          ["scan", "10.0.0.0/12"], ["scan", "10.1.0.0/24", "--rate", "0"]):
            with self.subTest(arguments):
                result = self.run_kelseek(*arguments)
                self.assertEqual((WRONG_USE, ""), (result.returncode, result.stdout))
                self.assertRegex(result.stderr, "kelseek")

    def test_help_and_version(self):
        for arguments in (["--help"], ["list", "--help"], ["watch", "-h"]):
            with self.subTest(arguments):
                result = self.run_kelseek(*arguments)
                self.assertEqual((0, ""), (result.returncode, result.stderr))
                self.assertIn("Usage:", result.stdout)
        self.assertTrue(re.fullmatch(r"kelseek \d+\.\d+\.\d+\n", self.run_kelseek("--version").stdout))

    def test_output_that_cannot_be_written_is_a_failure(self):
        local = ["vc", "run", "--name", "a", "--system-id", "{5A}"]
        for arguments in (["--help"], ["list", "-h"], ["--version"], ["list", "--wait", "0"], ["watch"], local,
                          ["list", "--wait", "0", "--json"], ["refresh", "--wait", "0"], ["register"],
                          ["check-config", "."], ["unregister"]):
            command = shlex.join([str(KELSEEK), *arguments])
            for where, reason in ((">/dev/full", "No space left on device"), (">&-", "Bad file descriptor")):
                with self.subTest(arguments, where=where):
                    result = self.run_kelseek("-c", f"{command} {where}", program="sh")
                    self.assertEqual((COMPONENT_FAILED, f"kelseek: the output cannot be written: {reason}\n"),
                                     (result.returncode, result.stderr))

    def broken_component(self, *place):
        path = self.folder.joinpath(*place)
        path.parent.mkdir(exist_ok=True)
        path.write_text("no module")
        return str(path)

    def assert_refused(self, path, result):
        self.assertEqual((COMPONENT_FAILED, ""), (result.returncode, result.stdout))
        self.assertTrue(result.stderr.startswith(f"kelseek: the component {path} does not load: "), result.stderr)

    def test_component_that_does_not_load(self):
        broken, missing = self.broken_component("broken.so"), str(self.folder / "missing.so")
        self.assert_refused(broken, self.run_kelseek("list", "--module", broken))
        self.assert_refused(missing, self.run_kelseek("--module", missing, "watch"))
        self.assert_refused(missing, self.run_kelseek("show", "cell", KELLANSEEK_MODULE=missing))
        self.assert_refused(broken, self.run_kelseek("add", "10.1.0.1", "--module", broken, KELLANSEEK_MODULE=missing))
        self.assert_refused("./broken.so", self.run_kelseek("refresh", "--module", "broken.so"))

    def test_component_is_found_beside_the_program(self):
        # The working directory must not be searched.
        self.broken_component(MODULE_NAME)
        home = self.folder / "grün"
        (home / "bin").mkdir(parents=True)
        program = shutil.copy(KELSEEK, home / "bin" / "kelseek")
        named = {"program": program}
        found = {"program": "kelseek", "PATH": f"{home}/bin:{os.environ['PATH']}"}
        for how in (named, found):
            alone = self.run_kelseek("list", **how)
            self.assertEqual(COMPONENT_FAILED, alone.returncode)
            self.assertIn("the registered one cannot be created", alone.stderr)
        for place in (("grün", "lib", MODULE_NAME), ("grün", "bin", MODULE_NAME)):
            path = self.broken_component(*place)
            for how in (named, found):
                self.assert_refused(path, self.run_kelseek("list", **how))

    def test_configuration_is_written_used_and_checked(self):
        directory = self.folder / "new" / "config"

        def check(expected, text, *where):
            result = self.run_kelseek("check-config", *where)
            self.assertEqual(expected, result.returncode, result.stdout + result.stderr)
            self.assertIn(text, result.stdout + result.stderr)

        check(2, "no configuration directory is set")
        self.assertEqual(0, self.run_kelseek("init-config", str(directory)).returncode)
        again = self.run_kelseek("init-config", str(directory))
        self.assertEqual(COMPONENT_FAILED, again.returncode)
        self.assertIn("already exists", again.stderr)
        for _ in range(2):
            self.assertEqual(0, self.run_kelseek("init-config", "--use", str(directory)).returncode)
        check(0, "clean")
        settings = directory / "lanseekconf.xml"
        settings.write_text(settings.read_text("latin-1").replace("<Retries>3<", "<Retries>three<"), "latin-1")
        check(1, "1 finding")
        settings.unlink()
        settings.mkdir()
        check(2, "lanseekconf.xml", str(directory))
        os.truncate(self.folder / "registry", (4 << 20) + 1)
        check(2, "registry: File too large")

    def test_registration_and_its_end(self):
        registry = self.folder / "registry"
        registry.write_text("[HKEY_CURRENT_USER\\Other]\nkept=yes\n")
        self.assert_said("register", f" is registered in {registry}.\n")
        self.assertIn(f"/{MODULE_NAME}\nThreadingModel=Free\n", registry.read_text())
        self.assert_said("unregister", f" is no longer registered in {registry}.\n")
        self.assertEqual("[HKEY_CURRENT_USER\\Other]\nkept=yes", registry.read_text().strip())
        self.assert_said("unregister", f"^{registry} contains no registration; nothing was changed.\n")
        self.assert_said("register", " is registered in ")
        registry.chmod(0o444)
        for command in ("register", "unregister"):
            refused = self.run_kelseek(command)
            self.assertEqual(COMPONENT_FAILED, refused.returncode)
            self.assertIn(f"(0x80070005): Cannot write {registry}: the file is read-only.\n", refused.stderr)
        registry.chmod(0o644)
        registry.write_bytes(b"[A]\nn=\0\n")
        refused = self.run_kelseek("register")
        self.assertEqual(COMPONENT_FAILED, refused.returncode)
        self.assertIn("damaged", refused.stderr)
        self.assertEqual(b"[A]\nn=\0\n", registry.read_bytes())

    def assert_said(self, command, expected, **environment):
        result = self.run_kelseek(command, **environment)
        self.assertEqual((FOUND, ""), (result.returncode, result.stderr))
        self.assertRegex(result.stdout, expected)

    def test_registration_of_one_user(self):
        own = self.folder / ".config" / "kellanseek" / "registry"
        own.parent.mkdir(parents=True)
        user = {"KELLANSEEK_REGISTRY": "", "HOME": str(self.folder)}
        own.write_text("[HKEY_CURRENT_USER\\Other]\nkept=yes\n")
        self.assert_said("unregister", f"^{own} contains no registration; nothing was changed.\n", **user)
        self.assertEqual("[HKEY_CURRENT_USER\\Other]\nkept=yes\n", own.read_text())
        own.write_text("")
        self.assert_said("register", f" is registered in {own}.\n", **user)
        self.assert_said("unregister", f" no longer registered in {own}.\nThat file contained nothing else", **user)
        self.assertFalse(own.exists())

    def test_staged_component_is_registered_for_where_it_will_be(self):
        stage = self.folder / "a stage"
        install = ["cmake", "--install", KELSEEK.parent, "--prefix", "/opt/kel"]

        def run(*arguments, **environment):
            subprocess.run([*install, *arguments], check=True, capture_output=True, cwd=self.folder,
                           env={**os.environ, "KELLANSEEK_MODULE": "none", **environment})

        run(DESTDIR=str(stage))
        for destination in (str(stage), stage.name):
            with self.subTest(destination):
                run("--component", "register", DESTDIR=destination, KELLANSEEK_REGISTRY=str(self.folder / "registry"))
                self.assertFalse((self.folder / "registry").exists())
                written = stage / "etc" / "kellanseek" / "registry"
                self.assertEqual([written], list(written.parent.iterdir()))
                self.assertNotIn(str(self.folder), written.read_text())
                module = re.search(r"\n@=(/opt/kel/.*/" + re.escape(MODULE_NAME) + r")\n", written.read_text())[1]
                self.assertTrue((stage / module[1:]).exists(), module)
                written.unlink()

    def test_what_was_typed_cannot_command_the_terminal(self):
        for arguments in (["\x1b[31m"], ["list", "--module", "\x1b]0;x\x07"], ["list", "--wait", "\x9b1"]):
            with self.subTest(arguments):
                errors = self.run_kelseek(*arguments).stderr
                self.assertNotRegex(errors, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")
                self.assertIn("\\u00", errors)


if __name__ == "__main__":
    unittest.main()

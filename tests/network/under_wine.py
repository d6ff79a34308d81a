"""Runs a Windows program of a scenario under Wine: under_wine.py PROGRAM.exe [ARGUMENT...]

Wine's sockets belong to its server, so every simulated host needs its own server and thus its own registry. It is created
from a template at the host's first start, with the ConfigDir from the Linux registry file in KELLANSEEK_REGISTRY. The
program replaces this one (exec), so signals reach it.

Environment: KELLANSEEK_WINE is the loader, KELLANSEEK_WINE_TEMPLATE an initialised prefix that no program uses.
"""

import contextlib
import hashlib
import os
import pathlib
import re
import shutil
import sys
import tempfile

# The machine's settings are in the 32-bit view.
_KEY = r"Software\\Wow6432Node\\Tarnwell\\Velmora\\KelAPI"


def config_directory(registry):
    """The ConfigDir of a Linux registry file; None without a file."""
    if not registry:
        return None
    found = re.search(r"^ConfigDir=(.*)$", pathlib.Path(registry).read_text(encoding="utf-8"), re.M)
    return found and found.group(1)


def make_prefix(prefix, template, config):
    """Creates a prefix with its own registry files; it shares the Windows folder with the template."""
    folder = pathlib.Path(tempfile.mkdtemp(dir=prefix.parent))
    for name in ("system.reg", "user.reg", "userdef.reg", ".update-timestamp"):
        shutil.copy(template / name, folder)
    if config:
        path = "Z:" + config.replace("/", r"\\")
        with open(folder / "system.reg", "a", encoding="utf-8") as registry:
            registry.write(f'\n[{_KEY}]\n"ConfigDir"="{path}"\n')
    (folder / "drive_c").symlink_to(template / "drive_c")
    (folder / "dosdevices").mkdir()
    (folder / "dosdevices" / "c:").symlink_to(template / "drive_c")
    (folder / "dosdevices" / "z:").symlink_to("/")
    with contextlib.suppress(OSError):  # Another program on this host was faster.
        folder.rename(prefix)
    shutil.rmtree(folder, ignore_errors=True)


def main():
    registry = os.environ.get("KELLANSEEK_REGISTRY", "")
    trace = os.environ["KELLANSEEK_TRACE"].removeprefix("file:")
    host = os.stat("/proc/self/ns/net").st_ino
    name = hashlib.sha256(f"{host} {registry}".encode()).hexdigest()[:12]
    prefix = pathlib.Path(trace).parent / f"wine-{name}"
    if not prefix.exists():
        make_prefix(prefix, pathlib.Path(os.environ["KELLANSEEK_WINE_TEMPLATE"]).resolve(), config_directory(registry))
    loader = os.environ["KELLANSEEK_WINE"]
    environment = dict(os.environ, WINEPREFIX=str(prefix), WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree,mshtml=")
    environment.pop("DISPLAY", None)
    os.execve(loader, [loader, *sys.argv[1:]], environment)


if __name__ == "__main__":
    main()

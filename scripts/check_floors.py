#!/usr/bin/env python3
"""Enforces the floors: a folder of src/ includes only folders below it, and only src/platform depends on the system."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Each floor with the floors it may include. Every floor may include <kellanseek/...>.
BELOW = {
    "text": set(),
    "platform": {"text"},
    "diagnostics": {"text", "platform"},
    "controllers": {"text", "platform"},
    "config": {"text", "platform", "diagnostics", "controllers"},
    "configcheck": {"text", "platform", "diagnostics", "controllers", "config"},
    "protocol": {"text", "platform", "diagnostics", "controllers"},
    "events": {"text", "platform", "diagnostics", "controllers"},
    "network": {"text", "platform", "diagnostics", "controllers", "config", "protocol", "events"},
    "daemon": {"text", "platform", "diagnostics", "controllers", "config", "protocol", "events", "network"},
    "engine": {"text", "platform", "diagnostics", "controllers", "config", "protocol", "events", "network", "daemon"},
}
BELOW["component"] = set(BELOW) - {"configcheck"} | {"component"}

# kelseek is a client: it may use the public headers and the platform, and for the configuration commands the parsers.
# kelsim plays the other side of the wire.
TOOLS = {"kelseek": {"text", "platform", "config", "configcheck", "diagnostics"},
         "kelsim": {"text", "platform", "protocol"}}

# The rooms of kelseek: `client` talks to the component, `output` formats results, and `commands` uses both.
ROOMS = {"client": set(), "output": {"client"}, "commands": {"client", "output"}}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
SYSTEM_CONDITION = re.compile(r"^\s*#\s*(el)?if.*(_WIN32|__linux__|__unix__|__APPLE__)")
KNOWS_SYSTEMS = ("src/platform/", "include/kellanseek/com")


def sources(folder):
    return sorted(p for p in (ROOT / folder).rglob("*") if p.suffix in (".h", ".cpp"))


def faults_of(path):
    name = path.relative_to(ROOT).as_posix()
    parts = name.split("/")
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if SYSTEM_CONDITION.match(line) and not name.startswith(KNOWS_SYSTEMS):
            yield f"{name}:{number}: a condition on the operating system; hide the difference behind a header of src/platform/"
        match = INCLUDE.match(line)
        folder = match.group(1).split("/")[0] if match and "/" in match.group(1) else None
        if parts[:2] == ["tools", "kelseek"] and parts[2] in ROOMS and folder in set(ROOMS) - ROOMS[parts[2]] - {parts[2]}:
            yield f"{name}:{number}: {parts[2]} must not include {folder}, which stands above it"
        if folder not in BELOW:
            continue
        if parts[0] == "src" and folder != parts[1] and folder not in BELOW[parts[1]]:
            yield (f"{name}:{number}: {parts[1]} must not include {folder}, which stands above or beside it; "
                   f"move the code down or hand the collaborator in through an interface")
        if parts[0] == "tools" and folder not in TOOLS[parts[1]]:
            yield f"{name}:{number}: {parts[1]} must not include {folder}: a client uses <kellanseek/KelLanSeek.h>"
        if parts[0] == "include":
            yield f"{name}:{number}: a public header includes only public headers"


def main():
    faults = [fault for folder in ("include", "src", "tools") for path in sources(folder) for fault in faults_of(path)]
    print("\n".join(faults) if faults else "floors: every include points down")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

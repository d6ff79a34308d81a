#!/usr/bin/env python3
"""Holds the floors: a folder of src/ includes only folders below it, nothing runs in a circle, and only the platform
knows the system."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# kelseek is a client: it may use the public headers and the platform, for the configuration commands the parsers, and for
# the doctor's own questions the protocol.
# kelsim plays the other side of the wire.
TOOLS = {"kelseek": {"text", "platform", "config", "configcheck", "diagnostics", "protocol"},
         "kelsim": {"text", "platform", "protocol"}}

# The rooms of kelseek: `client` talks to the component, `output` formats results, `doctor` finds faults, `screen` is the
# full-screen table, and `commands` uses them.
ROOMS = {"client": set(), "output": {"client"}, "doctor": {"client"}, "screen": {"client", "output"},
         "commands": {"client", "output", "doctor", "screen"}}

INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)')
SYSTEM_CONDITION = re.compile(r"^\s*#\s*(el)?if.*(_WIN32|__linux__|__unix__|__APPLE__)")
KNOWS_SYSTEMS = ("src/platform/", "include/kellanseek/com")
# Besides the standard library's, whose names have neither folder nor suffix.
LIBRARY_HEADERS = ("kellanseek/", "boost/", "nlohmann/", "CLI/", "libxml/")


def floors():
    """Every floor of src/floors.txt with all floors it may include."""
    below = {}
    for line in (ROOT / "src/floors.txt").read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            floor, *direct = line.split()
            below[floor] = set(direct).union(*(below[lower] for lower in direct))
    return below


BELOW = floors()


def sources(folder):
    return sorted(p for p in (ROOT / folder).rglob("*") if p.suffix in (".h", ".hpp", ".cpp"))


def includes_of(path):
    """Line number, and the own or the library header that the line includes."""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def conditions_of(path, name):
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if SYSTEM_CONDITION.match(line):
            yield f"{name}:{number}: a condition on the operating system; hide the difference behind a header of src/platform/"


def faults_of(path):
    name = path.relative_to(ROOT).as_posix()
    parts = name.split("/")
    if not name.startswith(KNOWS_SYSTEMS):
        yield from conditions_of(path, name)
    for number, own, library in includes_of(path):
        knows_system = name.startswith(KNOWS_SYSTEMS) or parts[0] == "include"
        if library and ("." in library or "/" in library) and not knows_system and not library.startswith(LIBRARY_HEADERS):
            yield f"{name}:{number}: <{library}> belongs to the system; put what needs it behind a header of src/platform/"
        folder = own.split("/")[0] if own and "/" in own else None
        if folder == "src":
            yield f"{name}:{number}: an include names the floor first"
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


def rooms():
    """Every class with those its two files include, by the path that an include names."""
    graph = {}
    for base in ("src", "tools"):
        for path in sources(base):
            room = path.relative_to(ROOT / "src" if base == "src" else ROOT).with_suffix("").as_posix()
            named = {own.removesuffix(".h") for _, own, _ in includes_of(path) if own}
            graph.setdefault(room, set()).update(named - {room})
    return graph


def circles(graph):
    """A circle for every include that closes one."""
    done, path = set(), []

    def visit(room):
        if room in path:
            yield "a circle: " + " > ".join([*path[path.index(room):], room])
        elif room not in done:
            path.append(room)
            for named in sorted(graph.get(room, ())):
                yield from visit(named)
            path.pop()
            done.add(room)

    for room in sorted(graph):
        yield from visit(room)


def main():
    faults = [fault for folder in ("include", "src", "tools") for path in sources(folder) for fault in faults_of(path)]
    faults += circles(rooms())
    print("\n".join(faults) if faults else "floors: every include points down")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

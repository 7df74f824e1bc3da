#!/usr/bin/env python3
"""includes.py SOURCE: holds the tree to its one direction.

Tools stand on entities, jobs and users, these on the accessors and the platform's services, all of them on the database
layer, and that on the typed values and the row base. Below the tools nothing prints or reads the environment.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()

ENGINES = {"platform/db/engines"}
# What each floor may include beside itself and the export headers.
BASE = {"values", "platform/log"}
DATABASE = BASE | {"accessors", "platform/db"}
SERVICES = {f"platform/{name}" for name in ("message", "appmgr", "jobmgr", "media", "system", "security")}
ENTITIES = DATABASE | SERVICES | {"src/common", "src/dblayer"}
MAY_INCLUDE = {
    "values": set(),
    "schema": {"values", "platform/message"},
    "platform/log": set(),
    "platform/db": BASE | ENGINES | {"schema"},
    "platform/db/engines": BASE | {"platform/db", "platform/message", "schema"},
    "accessors": BASE | {"platform/db"},
    **{service: DATABASE | SERVICES for service in SERVICES},
    "platform/jobmgr": DATABASE | SERVICES | {"schema"},
    "platform/message": {"platform/log"},
    "src/common": {"platform/log", "platform/message", "platform/system"},
    "src/dblayer": {"src/common", "platform/log"},
    "src/jobs": ENTITIES,
    "src/entities": ENTITIES | {"src/jobs"},
    "src/users": ENTITIES | {"src/entities"},
}
TOOLS = (set(MAY_INCLUDE) - ENGINES) | {"tools/common"}

# Third-party headers and the only folder that knows each.
HOME = {
    r"sqlite3(ext)?\.h": "platform/db/engines/sqlite/",
    r"libpq.*|postgres.*": "platform/db/engines/postgres/",
    r"(spdlog|fmt|CLI|nlohmann)/.*": "tools/",
    r"expat.*": "platform/message/",
    r"sodium\.h|sodium/.*": "platform/security/",
}

FORBIDDEN_BELOW_TOOLS = re.compile(
    r"\b(?:secure_)?getenv\b|\bsetenv\b|\benviron\b|\bstd::(?:w?cout|w?cerr|w?clog|w?cin)\b|<iostream>"
    r"|\b(?:v?f?w?printf|f?puts|f?putc|putchar|perror|psignal|v?dprintf)\s*\(|\bstd(?:out|err|in)\b"
)
COMMENT_OR_LITERAL = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\'', re.S
)


def floor(path):
    """The floor that a file of ours belongs to; None for an export header."""
    if path.name in ("PlatformExport.h", "VSDKExport.h"):
        return None
    parts = path.parts
    if parts[:3] == ("src", "Db", "Tbl"):
        return "values" if path.name.startswith("OVDB") else "accessors"
    if parts[:3] == ("platform", "db", "engines"):
        return "platform/db/engines"
    return "schema" if parts[0] == "schema" else "/".join(parts[:2])


def resolve(name, includer):
    for place in (includer.parent, *(pathlib.Path(p) for p in ("src", "platform", "tools", "."))):
        path = (ROOT / place / name).resolve()
        if path.is_file() and path.is_relative_to(ROOT):
            return path.relative_to(ROOT)
    return None


def cycle(graph):
    """A list of folders of which each includes the next and the last the first, or None."""
    done, stack = set(), []

    def visit(node):
        if node in stack:
            return stack[stack.index(node):]
        if node in done:
            return None
        done.add(node)
        stack.append(node)
        for following in sorted(graph.get(node, ())):
            if found := visit(following):
                return found
        stack.pop()
        return None

    return next(filter(None, map(visit, sorted(graph))), None)


def main():
    faults = []
    graph = {}  # between the platform's services, whose order no table fixes
    files = sorted(p for top in ("src", "platform", "schema", "tools") for p in ROOT.glob(f"{top}/**/*")
                   if p.suffix in (".h", ".cpp"))
    for file in (f.relative_to(ROOT) for f in files):
        text = (ROOT / file).read_text(encoding="utf-8")
        here = floor(file)
        in_tools = file.parts[0] == "tools"
        allowed = TOOLS if in_tools else MAY_INCLUDE.get(here)
        if here is not None and allowed is None:
            faults.append(f"{file}: its folder belongs to no floor")
            continue

        for number, line in enumerate(text.splitlines(), 1):
            match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
            if not match:
                continue
            quoted, name = match[1] == '"', match[2]
            place = f"{file}:{number}: {name}"
            for pattern, home in HOME.items():
                if re.fullmatch(pattern, name) and not str(file).startswith(home):
                    faults.append(f"{place}: only {home} knows it")
            if not quoted:
                continue
            target = resolve(name, file)
            if target is None:
                faults.append(f"{place}: not found from src, platform or the folder itself")
                continue
            there = floor(target)
            if there is None or there == here:
                continue
            if here is None or there not in allowed:
                faults.append(f"{place}: {here or 'an export header'} may not include {there}")
            if here in SERVICES and there in SERVICES:
                graph.setdefault(here, set()).add(there)

        if not in_tools:
            # Line ends are kept, so that a fault is found at its line.
            code = COMMENT_OR_LITERAL.sub(lambda m: "\n" * m[0].count("\n"), text)
            for number, line in enumerate(code.splitlines(), 1):
                if found := FORBIDDEN_BELOW_TOOLS.search(line):
                    faults.append(f"{file}:{number}: {found[0].rstrip('( ')} does not belong below the tools")

    if found := cycle(graph):
        faults.append("folders that include each other: " + " -> ".join(found + found[:1]))
    print("\n".join(faults) or f"{len(files)} files")
    return bool(faults)


sys.exit(main())

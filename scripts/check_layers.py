#!/usr/bin/env python3
"""Checks who includes whom: lower layers know nothing of higher ones, and what is built around the
core uses public headers only. Prints one line per violation."""
import pathlib
import re
import sys

# What the headers and sources of a folder may include, beside their own folder.
ALLOWED = {
    "core": set(),
    "util": {"core"},
    "kernels": {"core"},
    "image": {"core", "util", "kernels"},
    "filters": {"image", "core", "util", "kernels"},
    "tiles": {"image", "core", "util", "kernels"},
    "channels": {"image", "core", "util", "kernels"},
    "writer": {"filters", "image", "core", "util", "kernels"},
}
# Sources that may include one file more, each with its reason.
EXCEPTIONS = {
    # Its questions are about images; its header names the class only.
    "src/core/Resolution.cpp": {"quivo/image/Image.h"},
}
# The rooms around the core: each has its own headers and the public ones of the others.
OUTER = ["formats", "apps", "examples", "benchmarks"]
UMBRELLA = "include/quivo/Quivo.h"

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)


def files(root, *folders):
    for folder in folders:
        yield from (path for path in sorted((root / folder).rglob("*"))
                    if path.suffix in (".h", ".hpp", ".cpp"))


def core_violations(root):
    for path in files(root, "include/quivo", "src"):
        name = path.relative_to(root).as_posix()
        is_public = name.startswith("include/")
        if name == UMBRELLA:
            continue
        layer = name.split("/")[2 if is_public else 1]
        if layer not in ALLOWED:
            yield f"{name}: the folder {layer} is in no layer"
            continue
        for quote, target in INCLUDE.findall(path.read_text()):
            if target in EXCEPTIONS.get(name, ()):
                continue
            is_ours = quote == '"' or target.startswith("quivo/")
            if is_ours and is_public and quote == '"':
                yield f"{name}: a public header includes the internal {target}"
            if not is_ours:
                continue
            parts = [part for part in target.split("/") if part != "quivo"]
            if parts[0] not in ALLOWED[layer] | {layer}:
                yield f"{name}: {layer} may not include {target}"


def outer_violations(root):
    public = {path.relative_to(base).as_posix()
              for base in [root / "include", *root.glob("formats/*/include")]
              for path in files(base, "quivo")}
    for path in files(root, *OUTER):
        name = path.relative_to(root).as_posix()
        room = root.joinpath(*name.split("/")[:1 if name.split("/")[0] in ("examples", "benchmarks") else 2])
        own = {p.name for p in files(room, ".")}
        for quote, target in INCLUDE.findall(path.read_text()):
            if quote == "<" and target.startswith("quivo/") and target not in public:
                yield f"{name}: {target} is not a public header"
            if quote == '"' and target.split("/")[-1] not in own:
                yield f"{name}: {target} belongs to another room"
            if quote == '"' and (root / "src" / target).exists():
                yield f"{name}: {target} is internal to the core"


root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parents[1])
violations = [*core_violations(root), *outer_violations(root)]
print("\n".join(violations))
sys.exit(1 if violations else 0)

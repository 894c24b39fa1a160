#!/usr/bin/env python3
"""Checks who includes whom: lower rooms know nothing of higher ones, and what is built around the
core uses its public headers and the internal ones that it is allowed. Prints one line per violation."""
import pathlib
import re
import sys

# What the headers and sources of a room may include, beside their own room.
CORE = {
    "core": set(),
    "util": {"core"},
    "kernels": set(),
    # Three rooms side by side: what an image is, and what it may be besides.
    "image": {"samples", "metadata", "core", "util", "kernels"},
    "samples": {"image", "metadata", "core", "util", "kernels"},
    "metadata": {"image", "core", "util"},
    "filters": {"samples", "metadata", "image", "core", "util", "kernels"},
    "tiles": {"samples", "metadata", "image", "core", "util", "kernels"},
    "channels": {"samples", "metadata", "image", "core", "util", "kernels"},
    "writer": {"filters", "samples", "image", "core", "util", "kernels"},
}
PUBLIC = {f"quivo/{room}" for room in CORE}
STORAGE = {
    "storage/files": {"samples"},
    "storage/work": set(),
    "storage/blocks": {"kernels", "samples"},
    "storage/pyramid": {"storage/files", "storage/work", "kernels", "samples"},
}
TIFF = {
    "formats/tiff/container": {"storage/files"},
    "formats/tiff/read": {"formats/tiff/container", *STORAGE, "kernels", "samples"},
    "formats/tiff/write": {"formats/tiff/container", *STORAGE, "kernels", "samples"},
}
APPS = {
    "apps/quivo/terminal": {"storage/files"},
    "apps/quivo/options": {"apps/quivo/terminal", "storage/files"},
    "apps/quivo/work": {"apps/quivo/options", "apps/quivo/terminal", "storage/files"},
    "apps/quivo/commands": {"apps/quivo/work", "apps/quivo/options", "apps/quivo/terminal",
                            "storage/files"},
    "apps/quivo": {"apps/quivo/commands", "apps/quivo/options", "apps/quivo/terminal"},
}
FORMATS = {"quivo/tiff", "quivo/synthetic"}
AROUND = {*FORMATS, "quivo/display", "quivo/chains"}
# Rooms around the core with the public headers that they may include beside those of the core.
OUTER = {
    **{room: (own, set()) for room, own in STORAGE.items()},
    **{room: (own, {"quivo/tiff"}) for room, own in TIFF.items()},
    "formats/tiff": (set(TIFF), {"quivo/tiff"}),
    "formats/synthetic": (set(), {"quivo/synthetic"}),
    "display": ({"kernels"}, {"quivo/display"}),
    "chains": (set(), {*FORMATS, "quivo/display", "quivo/chains"}),
    **{room: (own, AROUND) for room, own in APPS.items()},
    "examples": (set(), set()),
    "benchmarks": (set(), AROUND),
    "fuzz": (set(), AROUND),
}
# Sources that may include one file more, each with its reason.
EXCEPTIONS = {
    # Its questions are about images; its header names the class only.
    "src/core/Resolution.cpp": {"quivo/image/Image.h"},
}
UMBRELLA = "quivo/Quivo.h"

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)


def room_of(path):
    """The room of a file, by its path from the root, and whether the file is public."""
    parts = path.parts
    if parts[0] == "include":
        return parts[2], True
    if parts[0] == "src":
        return parts[1], False
    if "include" in parts:
        return "/".join(parts[:parts.index("include")]), True
    folder = "/".join(part for part in parts[:-1] if part != "src")
    while folder and folder not in OUTER:
        folder = folder.rpartition("/")[0]
    return folder or parts[0], False


def find_internal(root, path, target):
    """The file that an include in quotes names, from the root of the repository; none if there is none."""
    own = [root / "src", *(path.parents[i] for i in range(len(path.relative_to(root).parts) - 1)), root]
    found = next((base / target for base in own if (base / target).is_file()), None)
    return found.relative_to(root) if found else None


def violations(root):
    for path in sorted(root.glob("**/*")):
        relative = path.relative_to(root)
        if path.suffix not in (".h", ".cpp") or relative.parts[0] in ("build", "tests"):
            continue
        if relative.as_posix() == f"include/{UMBRELLA}":
            continue
        room, is_public = room_of(relative)
        if room not in CORE and room not in OUTER:
            yield f"{relative}: {room} is in no layer"
            continue
        in_core = room in CORE
        internal = CORE[room] | {room} if in_core else OUTER[room][0] | {room}
        public = ({f"quivo/{name}" for name in CORE[room] | {room}} if in_core
                  else PUBLIC | OUTER[room][1])
        for quote, target in INCLUDE.findall(path.read_text()):
            if target in EXCEPTIONS.get(relative.as_posix(), ()):
                continue
            if quote == '"':
                if is_public:
                    yield f"{relative}: a public header includes the internal {target}"
                    continue
                found = find_internal(root, path, target)
                if not found or room_of(found)[0] not in internal:
                    yield f"{relative}: {room} may not include {target}"
            elif target.startswith("quivo/"):
                umbrella = not in_core and target == UMBRELLA
                if not umbrella and target.rpartition("/")[0] not in public:
                    yield f"{relative}: {room} may not include {target}"
            elif target.endswith(".h") and find_internal(root, path, target):
                yield f"{relative}: internal headers stand in quotes: {target}"


found = [*violations(pathlib.Path(sys.argv[1]) if len(sys.argv) > 1
                    else pathlib.Path(__file__).resolve().parents[2])]
print("\n".join(found))
sys.exit(1 if found else 0)

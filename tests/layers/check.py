#!/usr/bin/env python3
"""Holds the layers of docs/architecture.md against the includes of the sources.

check.py PROJECT-FOLDER

Fails on an include that leads to a higher layer, on a file that no layer has, on a file that the build does not name,
and on a family's source that has no header of the same stem.
"""

import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
sources = project / "src"
problems = []


def read_layers():
    """The table: | layer | families | stands on |, from the ground up."""
    text = (project / "docs/architecture.md").read_text(encoding="utf-8")
    table = text.split("| layer | families | stands on |", 1)[1].split("\n\n", 1)[0]
    rows = re.findall(r"^\| ([a-z]+) \| ([^|]+) \| ([^|]+) \|$", table, re.M)
    layers = [name for name, _, _ in rows]
    family = {stem: name for name, stems, _ in rows for stem in re.findall(r"\b[A-Z][A-Z0-9]+\b", stems)}
    stands_on = {}
    for name, _, on in rows:
        below = layers[: layers.index(name)]
        named = below if on.strip() == "all" else [each for each in re.findall(r"[a-z]+", on) if each in layers]
        # Who stands on a layer may use what that one stands on.
        reach = {name}
        for each in named:
            if each not in below:
                problems.append(f"docs/architecture.md: {name} stands on {each}, which is not below it")
            reach |= {each} | stands_on.get(each, set())
        stands_on[name] = reach
    return layers, family, stands_on


layers, family, stands_on = read_layers()


def layer_of(path):
    """The layer of a file, given as it is included; None for what is not ours."""
    parts = path.split("/")
    if parts[0] == "platform":
        return "platform"
    if parts[0] == "tuzutil":
        stem = pathlib.Path(path).stem
        return {"EXPORT": "platform", "RELEASE": "platform", "tuzutil": "roof"}.get(stem) or family.get(stem)
    if parts[0] == "utility":
        if len(parts) == 3:
            return parts[1] if parts[1] in layers else None
        stem = pathlib.Path(path).stem
        return "roof" if stem.islower() else family.get(stem)
    return None


def included(file, name):
    """The name of an included file from the source folder on; None for the system's."""
    if name.startswith(("tuzutil/", "utility/", "platform/")):
        return name
    beside = (file.parent / name).resolve()
    return beside.relative_to(sources.resolve()).as_posix() if beside.exists() else None


files = sorted([*sources.rglob("*.cpp"), *sources.rglob("*.h"), *(project / "include").rglob("*.h")])
cmake = (sources / "CMakeLists.txt").read_text(encoding="utf-8")
count = 0
for file in files:
    root = project / "include" if (project / "include") in file.parents else sources
    name = file.relative_to(root).as_posix()
    layer = layer_of(name)
    if layer is None:
        problems.append(f"{name}: no layer has it")
        continue
    for other in re.findall(r'^\s*#\s*include "([^"]+)"', file.read_text(encoding="utf-8"), re.M):
        target = included(file, other)
        if target is None:
            continue
        count += 1
        below = layer_of(target)
        if below not in stands_on[layer]:
            problems.append(f"{name} ({layer}) includes {target} ({below})")
    if file.suffix == ".cpp":
        listed = re.sub(r"platform/(posix|win32)/", "platform/${TUZUTIL_PLATFORM}/", name)
        if name not in cmake and listed not in cmake:
            problems.append(f"{name}: not named in src/CMakeLists.txt")
        stem = file.stem
        if name.startswith("utility/") and stem.isupper() and stem != "STARTUP":
            if not (project / "include/tuzutil" / f"{stem}.h").exists():
                problems.append(f"{name}: no header has its stem")

for stem, layer in family.items():
    if stem != "STARTUP" and not (project / "include/tuzutil" / f"{stem}.h").exists():
        problems.append(f"docs/architecture.md: {layer} names {stem}, which has no header")
if count < 200:
    problems.append(f"only {count} includes found")
print("\n".join(problems) or f"{len(files)} files and {count} includes keep to {len(layers)} layers")
sys.exit(1 if problems else 0)

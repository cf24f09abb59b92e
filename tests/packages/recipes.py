#!/usr/bin/env python3
"""recipes.py FOLDER VERSION: parses the recipes in the folder and looks at the version that they give."""

import ast
import json
import pathlib
import sys

folder, version = pathlib.Path(sys.argv[1]), sys.argv[2]

port = json.loads((folder / "vcpkg/tuzutil/vcpkg.json").read_text(encoding="utf-8"))
assert (port["name"], port["version"]) == ("tuzutil", version), port

recipe = ast.parse((folder / "conan/conanfile.py").read_text(encoding="utf-8"))
methods = {node.name for part in recipe.body if isinstance(part, ast.ClassDef) for node in part.body
           if isinstance(node, ast.FunctionDef)}
assert {"set_version", "export_sources", "build", "package", "package_info"} <= methods, methods

# Every file that the recipe exports is there.
sources = next(ast.literal_eval(part.value) for part in recipe.body
               if isinstance(part, ast.Assign) and part.targets[0].id == "SOURCES")
for pattern in sources:
    assert any(folder.parent.glob(pattern)), pattern

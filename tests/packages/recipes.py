#!/usr/bin/env python3
"""recipes.py FOLDER VERSION WORK-FOLDER SYSTEM MACHINE: runs the recipes in the folder, without vcpkg and Conan.

vcpkg.cmake and the classes below take the place of these programs. They configure the library with the options that a
recipe gives, and compare what the recipe says about the library with the files that the configured library would
install. They do not build the library.
"""

import fnmatch
import json
import pathlib
import shutil
import subprocess
import sys
import types

folder, version, work, system, machine = pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3]), *sys.argv[4:6]
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)


def run(*command):
    """Runs the command, and fails if CMake says that the project does not know an option."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert result.returncode == 0 and "not used by the project" not in result.stdout, result.stdout


def installed(build):
    """What the installation of a configured build writes, relative to the prefix."""
    return "".join(path.read_text(encoding="utf-8") for path in build.rglob("cmake_install.cmake"))


def assert_package_folder(build, package_folder):
    """The build installs the files for find_package() in this folder."""
    script = installed(build)
    assert f'"${{CMAKE_INSTALL_PREFIX}}/{package_folder}" TYPE FILE' in script, package_folder
    assert "tuzutilConfig.cmake" in script


# The port: its manifest, and its script with the functions that vcpkg.cmake defines.
port = folder / "vcpkg/tuzutil"
manifest = json.loads((port / "vcpkg.json").read_text(encoding="utf-8"))
assert (manifest["name"], manifest["version"]) == ("tuzutil", version), manifest
run("cmake", f"-DWORK={work / 'port'}", f"-DPORTFILE={port / 'portfile.cmake'}", "-P",
    str(pathlib.Path(__file__).with_name("vcpkg.cmake")))
said = dict(line.split("=", 1) for line in (work / "port/said").read_text(encoding="utf-8").splitlines())
assert said["package"] == manifest["name"]
assert (folder.parent / "LICENSE").samefile(said["copyright"])
assert_package_folder(work / "port/build", said["folder"])


# The recipe: a Python class, run with these classes and functions instead of those of Conan.
class ConanFile:
    def __init__(self, name, isShared):
        self.recipe_folder = str(folder / "conan")
        self.export_sources_folder = str(work / name)
        self.settings = types.SimpleNamespace(os=system, arch=machine)
        self.options = types.SimpleNamespace(shared=isShared)
        self.cpp_info = types.SimpleNamespace(defines=[], exelinkflags=[], system_libs=[],
                                              set_property=lambda name, value: None)


class CMakeToolchain:
    def __init__(self, recipe):
        self.cache_variables = recipe.cache_variables = {}

    def generate(self):
        pass


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        given = {"BUILD_SHARED_LIBS": self.recipe.options.shared, "CMAKE_INSTALL_LIBDIR": "lib", **self.recipe.cache_variables}
        source = self.recipe.export_sources_folder
        run("cmake", "-S", source, "-B", source + "/build", "-G", "Ninja",
            *(f"-D{name}={'ON' if value is True else 'OFF' if value is False else value}" for name, value in given.items()))

    def build(self):
        pass

    def install(self):
        pass


def copy(_, pattern, source, destination):
    found = 0
    for name in files:
        if fnmatch.fnmatch(name, pattern):
            (pathlib.Path(destination) / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(pathlib.Path(source) / name, pathlib.Path(destination) / name)
            found += 1
    assert found, f"there is no {pattern}"


def load(_, path):
    return pathlib.Path(path).read_text(encoding="utf-8")


def module(name, **members):
    sys.modules[name] = types.ModuleType(name)
    vars(sys.modules[name]).update(members)


files = [str(path.relative_to(folder.parent)) for top in folder.parent.iterdir() if top.name not in ("build", ".git")
         for path in ([top] if top.is_file() else top.rglob("*")) if path.is_file()]
module("conan", ConanFile=ConanFile)
module("conan.tools")
module("conan.tools.cmake", CMake=CMake, CMakeToolchain=CMakeToolchain, cmake_layout=lambda recipe: None)
module("conan.tools.files", copy=copy, load=load)
conanfile = types.ModuleType("conanfile")
exec(compile((folder / "conan/conanfile.py").read_text(encoding="utf-8"), "conanfile.py", "exec"), vars(conanfile))

for name, isShared in ("shared", True), ("static", False):
    assert isShared in conanfile.TuzutilRecipe.options["shared"]
    recipe = conanfile.TuzutilRecipe(name, isShared)
    recipe.set_version()
    assert (recipe.name, recipe.version) == ("tuzutil", version)
    for step in "export_sources", "layout", "generate", "build", "package", "package_info":
        getattr(recipe, step)()
    info = recipe.cpp_info
    build = work / name / "build"
    (package_folder,) = info.builddirs
    assert_package_folder(build, package_folder)
    # The file for pkg-config says the same about a program that uses the library.
    lines = dict(line.split(": ", 1) for line in (build / "tuzutil.pc").read_text(encoding="utf-8").splitlines() if ": " in line)
    flags = [flag for flag in (lines["Cflags"] + " " + lines["Libs"]).split() if not flag.startswith(("-I", "-L"))]
    told = [f"-D{define}" for define in info.defines] + [f"-l{library}" for library in info.libs] + info.exelinkflags + [
        "-pthread" if library == "pthread" else f"-l{library}" for library in info.system_libs]
    assert flags == told, (flags, told)

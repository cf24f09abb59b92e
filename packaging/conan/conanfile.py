"""Builds a package of the source tree that contains this recipe: conan create packaging/conan"""

import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load

# What the build reads.
SOURCES = ("CMakeLists.txt", "LICENSE", "*.md", "cmake/*", "docs/*", "include/*", "packaging/debian/*", "src/*", "tools/*")


class TuzutilRecipe(ConanFile):
    name = "tuzutil"
    license = "MIT"
    description = "Shared utility library for internet mail servers and tools"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    package_type = "library"

    def _root(self):
        return os.path.normpath(os.path.join(self.recipe_folder, "..", ".."))

    def set_version(self):
        release = load(self, os.path.join(self._root(), "include", "tuzutil", "RELEASE.h"))
        self.version = re.search(r'TUZUTIL_VERSION_STRING "([0-9.]+)"', release).group(1)

    def export_sources(self):
        for pattern in SOURCES:
            copy(self, pattern, self._root(), self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TESTS", "EXAMPLES", "TOOLS"):
            toolchain.cache_variables[f"TUZUTIL_BUILD_{part}"] = False
        toolchain.cache_variables["TUZUTIL_WARNINGS"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The library's own CMake files are used: they have its functions for language libraries.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = ["lib/cmake/tuzutil"]
        self.cpp_info.libs = ["tuzutil"]
        if not self.options.shared:
            self.cpp_info.defines = ["TUZUTIL_STATIC"]
            prefix = "_" if self.settings.os == "Windows" and self.settings.arch == "x86" else ""
            self.cpp_info.exelinkflags = [f"-Wl,--undefined={prefix}TuzutilIsLinked"]
            self.cpp_info.system_libs = ["ole32", "uuid"] if self.settings.os == "Windows" else ["pthread"]

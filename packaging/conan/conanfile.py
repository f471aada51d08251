"""Conan 2 recipe for the tree that contains it: conan create packaging/conan"""
from pathlib import Path

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy


class Kelaudiofile(ConanFile):
    name = "kelaudiofile"
    version = "1.1.0"
    description = "Uncompressed audio files: wave, RF64, AIFF, sample conversion, peaks"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}

    def export_sources(self):
        root = Path(self.recipe_folder).parent.parent
        for part in ("CMakeLists.txt", "aiff/*", "bytes/*", "chunks/*", "cmake/*", "convert/*", "frames/*", "id3/*",
                     "include/*", "packaging/*", "peak/*", "support/*", "wav/*"):
            copy(self, part, root, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        for option in ("BUILD_TESTS", "BUILD_EXAMPLES", "BUILD_BENCHMARKS"):
            toolchain.cache_variables[f"KELAUDIOFILE_{option}"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["kelaudiofile"]
        self.cpp_info.set_property("cmake_target_name", "kelaudiofile::kelaudiofile")

"""Conan 2 recipe:  conan create packaging/conan"""
import os

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy


class UtlConan(ConanFile):
    name = "utl"
    version = "0.9.0"
    license = "LicenseRef-not-yet-granted"
    homepage = "https://utl.invalid/"
    description = "Common runtime for one long-running application on embedded Linux"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "include/*", "source/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def validate(self):
        check_min_cppstd(self, 17)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["UTL_BUILD_EXAMPLES"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "utl")
        self.cpp_info.set_property("cmake_target_name", "utl::utl")
        self.cpp_info.set_property("pkg_config_name", "utl")
        self.cpp_info.includedirs = [os.path.join("include", "utl")]
        self.cpp_info.libs = ["utl"]
        self.cpp_info.system_libs = ["pthread", "rt"]

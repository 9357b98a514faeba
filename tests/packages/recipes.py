# SPDX-License-Identifier: MIT
"""usage: recipes.py SOURCE-DIRECTORY

Compares what the packages for Debian, Yocto and Buildroot say about this tree with the tree: version, licence, options,
dependencies and exported functions.
"""

import hashlib
import os
import re
import sys

SOURCE = sys.argv[1]

# The names of what the build looks for.
NAMES = {
    "debian": {"CLI11": "libcli11-dev", "nlohmann_json": "nlohmann-json3-dev", "fuse3": "libfuse3-dev",
               "PkgConfig": "pkgconf", "Python3": "python3"},
    "yocto": {"CLI11": "cli11", "nlohmann_json": "nlohmann-json"},
    "buildroot": {"CLI11": "cli11", "nlohmann_json": "json-for-modern-cpp"},
}

failures = 0


def expect(what, got, wanted):
    global failures
    if got != wanted:
        failures += 1
        print(f"FAILED: {what}\n  got:    {got!r}\n  should: {wanted!r}")


def content(path):
    with open(os.path.join(SOURCE, path), encoding="utf-8") as text:
        return text.read()


def one(pattern, text):
    found = re.findall(pattern, text, re.MULTILINE)
    if len(found) != 1:
        sys.exit(f"FAILED: {len(found)} times: {pattern}")
    return found[0]


def sought(path):
    """What this part of the build looks for."""
    text = content(path)
    return set(re.findall(r"find_package\((\w+)", text)) | set(re.findall(r"pkg_check_modules\(.* (\w+)>=", text))


def options_of(text):
    return set(re.findall(r"-D(VELMOR_\w+)=", text))


cmake = content("CMakeLists.txt")
version = one(r"^project\(velmor VERSION ([\d.]+)", cmake)
major = version.split(".", maxsplit=1)[0]
options = set(re.findall(r"option\((VELMOR_\w+)", cmake + content("src/CMakeLists.txt")))
licence = content("LICENSE")
functions = re.findall(r"^VELMOR_API int (\w+)", content("include/velmor.h"), re.MULTILINE)
of_library = sought("cmake/install.cmake")
of_tools = sought("tools/velmorctl/CMakeLists.txt")
of_sim = sought("sim/CMakeLists.txt")

# Yocto
folder = "packaging/yocto"
expect("recipes", os.listdir(os.path.join(SOURCE, folder)), [f"libvelmor_{version}.bb"])
recipe = content(f"{folder}/libvelmor_{version}.bb")
expect("Yocto: licence", one(r'^LICENSE = "(.*)"', recipe), licence.split()[0])
expect("Yocto: checksum", one(r'^LIC_FILES_CHKSUM = "file://LICENSE;md5=(\w+)"', recipe),
       hashlib.md5(licence.encode()).hexdigest())
expect("Yocto: unknown options", options_of(recipe) - options, set())
expect("Yocto: dependencies of velmorctl",
       set(one(r'^PACKAGECONFIG\[tools\] = "-DVELMOR_TOOLS=ON,-DVELMOR_TOOLS=OFF,(.*)"', recipe).split()),
       {NAMES["yocto"].get(each, each) for each in of_tools})
# A class, not a dependency. An image by Buildroot has no manual pages, for which alone python3 is needed.
expect("what the library looks for", of_library, {"Python3"})
expect("Yocto: classes", one(r"^inherit (.*)", recipe).split(), ["cmake", "externalsrc", "python3native"])

# Buildroot
makefile = content("packaging/buildroot/libvelmor.mk")
config = content("packaging/buildroot/Config.in")
expect("Buildroot: version", one(r"^LIBVELMOR_VERSION = (.*)", makefile), version)
expect("Buildroot: licence", one(r"^LIBVELMOR_LICENSE = (.*)", makefile), licence.split()[0])
expect("Buildroot: checksum", one(r"^sha256  (\w+)  LICENSE$", content("packaging/buildroot/libvelmor.hash")),
       hashlib.sha256(licence.encode()).hexdigest())
expect("Buildroot: unknown options", options_of(makefile) - options, set())
needed = set(one(r"^LIBVELMOR_DEPENDENCIES \+= (.*)", makefile).split())
expect("Buildroot: dependencies of velmorctl", needed, {NAMES["buildroot"].get(each, each) for each in of_tools})
expect("Buildroot: selected", set(re.findall(r"select BR2_PACKAGE_(\w+)", config)),
       {each.upper().replace("-", "_") for each in needed})
settings = set(re.findall(r"^config (\w+)", config, re.MULTILINE))
expect("Buildroot: settings that Config.in lacks",
       set(re.findall(r"BR2_PACKAGE_LIBVELMOR_\w+", makefile)) - settings, set())

# Debian
control = content("packaging/debian/control")
builds = one(r"^Build-Depends: ((?:.*\n)(?: .*\n)*)", control)
expect("Debian: version", one(r"^libvelmor \(([\d.]+)\)", content("packaging/debian/changelog")), version)
expect("Debian: licence", re.sub(r"^ \.?", "", content("packaging/debian/copyright").split("License: Expat\n")[1],
                                 flags=re.MULTILINE), licence.split("\n\n", 2)[2])
expect("Debian: unknown options", options_of(content("packaging/debian/rules")) - options, set())
expect("Debian: cmake", one(r"cmake \(>= ([\d.]+)\)", builds),
       one(r"^cmake_minimum_required\(VERSION ([\d.]+)\)", cmake))
expect("Debian: build dependencies", set(re.findall(r"^ *([\w.-]+)", builds, re.MULTILINE)),
       {NAMES["debian"].get(each, each) for each in of_library | of_tools | of_sim}
       | {"debhelper-compat", "cmake", "ninja-build"})
symbols = content("packaging/debian/libvelmor3.symbols")
expect("Debian: soname", symbols.splitlines()[0], f"libvelmor.so.{major} libvelmor{major} #MINVER#")
expect("Debian: symbols", re.findall(r"^ (\w+)@Base [\d.]+$", symbols, re.MULTILINE), sorted(functions))
sys.exit(1 if failures else 0)

# SPDX-License-Identifier: MIT
"""usage: recipes.py SOURCE-DIRECTORY BUILD-DIRECTORY

Compares what the packages for Debian, Yocto and Buildroot say about this tree with the tree, and with what the build
installs: version, licence, options, dependencies, compilers, files and exported functions.
"""

import fnmatch
import glob
import hashlib
import os
import re
import subprocess
import sys
import tempfile

SOURCE, BUILD = sys.argv[1:3]

# The names of what the build looks for.
NAMES = {
    "debian": {"CLI11": "libcli11-dev", "nlohmann_json": "nlohmann-json3-dev", "fuse3": "libfuse3-dev",
               "PkgConfig": "pkgconf", "Python3": "python3"},
    "yocto": {"CLI11": "cli11", "nlohmann_json": "nlohmann-json"},
    "buildroot": {"CLI11": "cli11", "nlohmann_json": "json-for-modern-cpp"},
}

# The options that no package sets: their defaults are for packages, or they are for this project's own tests.
UNSET = {"VELMOR_INSTALL", "VELMOR_LTO", "VELMOR_EXAMPLES", "VELMOR_BENCH", "VELMOR_TESTS", "VELMOR_COVERAGE"}
# Those that an image does not set either: the virtual device is for the build machine.
UNSET_IN_IMAGES = UNSET | {"VELMOR_SIM"}

# What Yocto packages without being told, of what this tree installs.
YOCTO_FILES = {
    "${PN}": ("${libdir}/lib*.so.*",),
    "${PN}-dev": ("${includedir}", "${libdir}/lib*.so", "${libdir}/cmake", "${libdir}/pkgconfig"),
    "${PN}-doc": ("${mandir}", "${docdir}"),
}
YOCTO_FOLDERS = {"bindir": "usr/bin", "libdir": "usr/lib", "includedir": "usr/include", "datadir": "usr/share",
                 "mandir": "usr/share/man", "docdir": "usr/share/doc"}

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


def build_files(*folders):
    """The contents of the CMake files in these folders, as one text."""
    paths = [path for folder in folders
             for path in glob.glob(f"{folder}/**/CMakeLists.txt", root_dir=SOURCE, recursive=True)
             + glob.glob(f"{folder}/**/*.cmake", root_dir=SOURCE, recursive=True) if "/tests/" not in path]
    return "".join(map(content, paths))


def sought(text):
    """What these CMake files look for."""
    return set(re.findall(r"find_package\((\w+)", text)) | set(re.findall(r"pkg_check_modules\(.* (\w+)>=", text))


def options_of(text):
    return set(re.findall(r"-D(VELMOR_\w+)=", text))


def installed(component):
    """The files of a component, such as "usr/bin/velmorctl"."""
    with tempfile.TemporaryDirectory() as root:
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/usr", "--component", f"velmor-{component}"],
                       check=True, stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": root})
        return {os.path.relpath(os.path.join(folder, name), root)
                for folder, _, names in os.walk(root) for name in names}


def is_packaged(path, patterns):
    """Whether one of these patterns matches the file or a folder that contains it."""
    folders = [path]
    while os.path.dirname(folders[-1]):
        folders.append(os.path.dirname(folders[-1]))
    return any(fnmatch.fnmatch(folder, pattern) and folder.count("/") == pattern.count("/")
               for folder in folders for pattern in patterns)


cmake = content("CMakeLists.txt")
version = one(r"^project\(velmor VERSION ([\d.]+)", cmake)
major = version.split(".", maxsplit=1)[0]
of_library = cmake + build_files("src", "cmake")
of_tools = build_files("tools")
of_sim = build_files("sim")
options = set(re.findall(r"option\((VELMOR_\w+)", of_library + of_tools + of_sim))
of_library, of_tools, of_sim = map(sought, (of_library, of_tools, of_sim))
licence = content("LICENSE")
functions = re.findall(r"^VELMOR_API int (\w+)", content("include/velmor.h"), re.MULTILINE)
files = {each: installed(each) for each in ("runtime", "development", "documentation", "tools", "sim")}
integration = content("docs/integration.md")
expect("what the library looks for", of_library, {"Python3"})
cmake_version = one(r"^cmake_minimum_required\(VERSION ([\d.]+)\)", cmake)
expect("docs/integration.md: cmake", set(re.findall(r"cmake (?:>= )?(\d+\.\d+)", integration)), {cmake_version})
# The tests compare this table with the built library.
gcc_version = one(r"^\| libstdc\+\+ \| .* g\+\+ (\d+)'s \|$", integration)

# Yocto
folder = "packaging/yocto"
expect("recipes", os.listdir(os.path.join(SOURCE, folder)), [f"libvelmor_{version}.bb"])
recipe = content(f"{folder}/libvelmor_{version}.bb")
expect("Yocto: licence", one(r'^LICENSE = "(.*)"', recipe), licence.split()[0])
expect("Yocto: checksum", one(r'^LIC_FILES_CHKSUM = "file://LICENSE;md5=(\w+)"', recipe),
       hashlib.md5(licence.encode()).hexdigest())
expect("Yocto: source", re.findall(r"^(LIBVELMOR_CHECKOUT|EXTERNALSRC) (.*)", recipe, re.MULTILINE),
       [("LIBVELMOR_CHECKOUT", '??= ""'), ("EXTERNALSRC", '= "${LIBVELMOR_CHECKOUT}"')])
# An unset checkout is reported.
one(r'^python \(\) \{\n    if not d\.getVar\("LIBVELMOR_CHECKOUT"\):\n        raise bb\.parse\.SkipRecipe\(".*"\)\n\}$',
    recipe)
expect("Yocto: options", options_of(recipe), options - UNSET_IN_IMAGES)
expect("Yocto: dependencies of velmorctl",
       set(one(r'^PACKAGECONFIG\[tools\] = "-DVELMOR_TOOLS=ON,-DVELMOR_TOOLS=OFF,(.*)"', recipe).split()),
       {NAMES["yocto"].get(each, each) for each in of_tools})
# python3 is a class, not a dependency. An image by Buildroot has no manual pages, for which alone it is needed.
expect("Yocto: classes", one(r"^inherit (.*)", recipe).split(), ["cmake", "externalsrc", "python3native"])
expect("Yocto: packages", one(r'^PACKAGES =\+ "(.*)"', recipe), "${PN}-tools")
in_yocto = {name: list(patterns) for name, patterns in YOCTO_FILES.items()}
for name, patterns in re.findall(r'^FILES:(\S+) \+?= "(.*)"', recipe, re.MULTILINE):
    in_yocto.setdefault(name, []).extend(patterns.split())
for component in ("runtime", "development", "documentation", "tools"):
    for path in sorted(files[component]):
        packages = [name for name, patterns in in_yocto.items() if is_packaged(
            path, [re.sub(r"\$\{(\w+)\}", lambda found: YOCTO_FOLDERS[found[1]], each) for each in patterns])]
        its_own = {"runtime": "${PN}", "development": "${PN}-dev", "documentation": "${PN}-doc", "tools": "${PN}-tools"}
        expect(f"Yocto: packages with {path}", packages, ["${PN}-doc" if re.search("/(man|doc)/", path) else its_own[component]])

# Buildroot: make itself reads the package's file.
config = content("packaging/buildroot/Config.in")


def make(**settings):
    """The package's variables, without LIBVELMOR_, by these of Buildroot's; or the error."""
    text = "".join(f"{name} = {value}\n" for name, value in settings.items())
    text += 'qstrip = $(strip $(subst ",,$(1)))\ncmake-package = LIBVELMOR_MADE_BY = cmake-package\n'
    text += content("packaging/buildroot/libvelmor.mk")
    text += "$(foreach each,$(filter LIBVELMOR_%,$(.VARIABLES)),$(info $(each) = $($(each))))\nnothing: ;\n"
    done = subprocess.run(["make", "--silent", "--file=-"], input=text, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        return done.stderr
    return {name: value.strip() for name, value in re.findall(r"^LIBVELMOR_(\w+) =(.*)", done.stdout, re.MULTILINE)}


expected = {
    "VERSION": version,
    "SITE": "/checkout",
    "SITE_METHOD": "local",
    "OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS": "--exclude=/build",
    "LICENSE": licence.split()[0],
    "LICENSE_FILES": "LICENSE",
    "INSTALL_STAGING": "YES",
    "SUPPORTS_IN_SOURCE_BUILD": "NO",
    "CONF_OPTS": "-DVELMOR_TOOLS=OFF",
    "MADE_BY": "cmake-package",
}
selected = {"BR2_PACKAGE_LIBVELMOR": "y", "BR_BUILDING": "y"}
checkout = {"BR2_PACKAGE_LIBVELMOR_CHECKOUT": '"/checkout"'}
needed = sorted(NAMES["buildroot"].get(each, each) for each in of_tools)
expect("Buildroot: without velmorctl", make(**selected, **checkout), expected)
expect("Buildroot: with velmorctl", make(**selected, **checkout, BR2_PACKAGE_LIBVELMOR_TOOLS="y"),
       {**expected, "CONF_OPTS": "-DVELMOR_TOOLS=ON", "DEPENDENCIES": " ".join(needed)})
expect("Buildroot: options", options_of(content("packaging/buildroot/libvelmor.mk")), options - UNSET_IN_IMAGES)
expect("Buildroot: without a checkout", "set BR2_PACKAGE_LIBVELMOR_CHECKOUT" in str(make(**selected)), True)
expect("Buildroot: without a checkout, not selected", make(BR_BUILDING="y"), {**expected, "SITE": ""})
expect("Buildroot: checksum", one(r"^sha256  (\w+)  LICENSE$", content("packaging/buildroot/libvelmor.hash")),
       hashlib.sha256(licence.encode()).hexdigest())
expect("Buildroot: selected", sorted(re.findall(r"select BR2_PACKAGE_(\w+)", config)),
       [each.upper().replace("-", "_") for each in needed])
expect("Buildroot: settings", re.findall(r"^config (\w+)", config, re.MULTILINE),
       [f"BR2_PACKAGE_LIBVELMOR{each}" for each in ("", "_CHECKOUT", "_TOOLS")])
toolchain = ["BR2_TOOLCHAIN_USES_GLIBC", "BR2_INSTALL_LIBSTDCPP", f"BR2_TOOLCHAIN_GCC_AT_LEAST_{gcc_version}"]
library, comment = re.split(r"^if BR2_PACKAGE_LIBVELMOR$.*^endif$", config, flags=re.MULTILINE | re.DOTALL)
expect("Buildroot: toolchain", re.findall(r"depends on (\w+)", library), toolchain)
expect("Buildroot: toolchain in the comment", re.findall(r"!(\w+)", comment), toolchain)
expect("Buildroot: gcc in the comment", one(r'^comment ".* gcc >= (\d+)"$', comment), gcc_version)

# Debian
control = content("packaging/debian/control")
builds = one(r"^Build-Depends: ((?:.*\n)(?: .*\n)*)", control)
unreleased = one(r"^## \[Unreleased\]\n((?:(?!## ).*\n)*)", content("CHANGELOG.md")).strip()
expect("Debian: version, by what CHANGELOG.md has under Unreleased",
       re.match(r"libvelmor \((.*)\)", content("packaging/debian/changelog"))[1],
       version + ("+unreleased" if unreleased else ""))
expect("Debian: licence", re.sub(r"^ \.?", "", content("packaging/debian/copyright").split("License: Expat\n")[1],
                                 flags=re.MULTILINE), licence.split("\n\n", 2)[2])
expect("Debian: options", options_of(content("packaging/debian/rules")), options - UNSET)
expect("Debian: cmake", one(r"cmake \(>= ([\d.]+)\)", builds), cmake_version)
expect("Debian: build dependencies", set(re.findall(r"^ *([\w.-]+)", builds, re.MULTILINE)),
       {NAMES["debian"].get(each, each) for each in of_library | of_tools | of_sim}
       | {"debhelper-compat", "cmake", "ninja-build"})
expect("Debian: the development files need their library",
       one(r"^Package: libvelmor-dev\n(?:(?!\n).*\n)*?Depends: (.*)", control),
       f"${{misc:Depends}}, libvelmor{major} (= ${{binary:Version}})")
symbols = content("packaging/debian/libvelmor3.symbols")
expect("Debian: soname", symbols.splitlines()[0], f"libvelmor.so.{major} libvelmor{major} #MINVER#")
expect("Debian: symbols", re.findall(r"^ (\w+)@Base [\d.]+$", symbols, re.MULTILINE), sorted(functions))
in_debian = {}
for name in re.findall(r"^Package: (.*)", control, re.MULTILINE) + ["not-installed"]:
    path = f"packaging/debian/{name}" + ("" if name == "not-installed" else ".install")
    in_debian[name] = [line.split()[0] for line in content(path).splitlines()]
used = set()
for component, paths in files.items():
    for path in sorted(paths):
        # The packages are built with the library in the folder of its architecture.
        path = re.sub(r"^usr/lib/(?=libvelmor|cmake/|pkgconfig/)", "usr/lib/architecture/", path)
        packages = [name for name, patterns in in_debian.items() if is_packaged(path, patterns)]
        expect(f"Debian: number of packages with {path}", len(packages), 1)
        used |= {(name, pattern) for name in packages for pattern in in_debian[name] if is_packaged(path, [pattern])}
        if component in ("tools", "sim"):
            expect(f"Debian: packages with {path}", packages, [f"velmor-{component}"])
# In some kinds of build the virtual device is built apart.
unused = {(name, pattern) for name, patterns in in_debian.items() for pattern in patterns} - used
expect("Debian: patterns that match nothing",
       {(name, pattern) for name, pattern in unused if files["sim"] or name != "velmor-sim"}, set())
sys.exit(1 if failures else 0)

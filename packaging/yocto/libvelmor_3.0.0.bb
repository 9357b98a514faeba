# SPDX-License-Identifier: MIT
SUMMARY = "Hardware access library of the device"
DESCRIPTION = "Gives applications the hardware of an embedded Linux device as plain C functions: identity, \
temperature, backlight, IO lines, power and watchdog."
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=55d6bee81d7ce570c918b9cdf1066d69"

# A checkout of this release on the build machine, set by the layer or in local.conf.
LIBVELMOR_CHECKOUT ??= ""
EXTERNALSRC = "${LIBVELMOR_CHECKOUT}"
python () {
    if not d.getVar("LIBVELMOR_CHECKOUT"):
        raise bb.parse.SkipRecipe("set LIBVELMOR_CHECKOUT to a checkout of libvelmor")
}

# python3 makes the manual pages.
inherit cmake externalsrc python3native

# velmorctl; its two libraries are in meta-oe.
PACKAGECONFIG ??= ""
PACKAGECONFIG[tools] = "-DVELMOR_TOOLS=ON,-DVELMOR_TOOLS=OFF,cli11 nlohmann-json"

PACKAGES =+ "${PN}-tools"
FILES:${PN} += "${datadir}/velmor/60-velmor.rules"
FILES:${PN}-tools = "${bindir}/velmorctl ${datadir}/bash-completion ${datadir}/velmor/velmorctl.schema.json"
FILES:${PN}-doc += "${datadir}/sbom"

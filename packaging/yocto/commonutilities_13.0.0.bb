SUMMARY = "Services for the management daemons of board controllers"
DESCRIPTION = "Logger, JSON documents and configuration, queues, a checksummed record store, \
signals and backtraces, plug-ins, shared memory, board descriptions and GPIO."
HOMEPAGE = "https://example.org/commonutilities"
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=c327794b24ac44bfcbcbf31cc0272679"

# The layer that takes this recipe names the commit.
SRC_URI = "git://git.example.org/commonutilities.git;protocol=https;branch=main \
           file://run-ptest \
           "
SRCREV ?= "${AUTOREV}"
PV .= "+git${SRCPV}"
S = "${WORKDIR}/git"

DEPENDS = "jsmn"

inherit cmake pkgconfig ptest

PACKAGECONFIG ??= "${@bb.utils.contains('PTEST_ENABLED', '1', 'tests', '', d)}"
PACKAGECONFIG[tests] = "-DCOMMONUTILITIES_BUILD_TESTS=ON,-DCOMMONUTILITIES_BUILD_TESTS=OFF,googletest zlib nlohmann-json"
PACKAGECONFIG[tools] = "-DCOMMONUTILITIES_BUILD_TOOLS=ON,-DCOMMONUTILITIES_BUILD_TOOLS=OFF,cli11 fmt nlohmann-json"

# The tool's headers are looked for on the build machine unless they are named, and GoogleTest is
# taken as the layer builds it.
EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCOMMONUTILITIES_BUILD_EXAMPLES=OFF \
    -DCOMMONUTILITIES_BUILD_MAN=OFF \
    -DCOMMONUTILITIES_GOOGLETEST_DIR= \
    -DCMAKE_SKIP_BUILD_RPATH=ON \
    -DCOMMONUTILITIES_SYSTEMD_UNIT_DIR=${systemd_system_unitdir} \
    -DCLI11_INCLUDE_DIR=${STAGING_INCDIR} \
    -DFMT_INCLUDE_DIR=${STAGING_INCDIR} \
    -DNLOHMANN_INCLUDE_DIR=${STAGING_INCDIR} \
"

do_install_ptest() {
    install -d ${D}${PTEST_PATH}/tests
    find ${B}/tests -type f -name 'test_*' -perm -u+x -exec install -m 0755 {} ${D}${PTEST_PATH}/tests \;
}

PACKAGE_BEFORE_PN = "${PN}-tools"
FILES:${PN}-tools = "${bindir}/cuctl ${datadir}/bash-completion ${systemd_system_unitdir}"

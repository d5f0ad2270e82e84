SUMMARY = "Services for the management daemons of board controllers"
DESCRIPTION = "Logger, JSON documents and configuration, queues, a checksummed record store, \
signals and backtraces, plug-ins, shared memory, board descriptions and GPIO."
HOMEPAGE = "https://example.org/commonutilities"
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=c327794b24ac44bfcbcbf31cc0272679"

# Where the sources come from is the distribution's choice; jsmn is a single header.
SRC_URI = "git://git.example.org/commonutilities.git;protocol=https;branch=main"
SRCREV = "${AUTOREV}"
S = "${WORKDIR}/git"

DEPENDS = "jsmn"

inherit cmake pkgconfig

EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCOMMONUTILITIES_BUILD_TESTS=OFF \
    -DCOMMONUTILITIES_BUILD_EXAMPLES=OFF \
"

# Backtraces on 32-bit ARM need unwind tables, here and in the daemons.
TARGET_CFLAGS:append:arm = " -funwind-tables"

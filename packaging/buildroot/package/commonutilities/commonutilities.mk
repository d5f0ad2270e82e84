################################################################################
#
# commonutilities
#
################################################################################

COMMONUTILITIES_VERSION = 13.0.0
COMMONUTILITIES_SITE = https://example.org/commonutilities/releases
COMMONUTILITIES_SOURCE = commonutilities-$(COMMONUTILITIES_VERSION).tar.xz
COMMONUTILITIES_LICENSE = MIT
COMMONUTILITIES_LICENSE_FILES = LICENSE
COMMONUTILITIES_INSTALL_STAGING = YES
COMMONUTILITIES_DEPENDENCIES = jsmn
COMMONUTILITIES_CONF_OPTS = \
	-DCOMMONUTILITIES_BUILD_TESTS=OFF \
	-DCOMMONUTILITIES_BUILD_EXAMPLES=OFF

$(eval $(cmake-package))

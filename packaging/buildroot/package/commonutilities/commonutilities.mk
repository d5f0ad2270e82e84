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
	-DCOMMONUTILITIES_BUILD_EXAMPLES=OFF \
	-DCOMMONUTILITIES_BUILD_MAN=OFF

ifeq ($(BR2_PACKAGE_COMMONUTILITIES_CUCTL),y)
COMMONUTILITIES_DEPENDENCIES += cli11 fmt json-for-modern-cpp
# Unless they are named, the headers are looked for on the build machine.
COMMONUTILITIES_CONF_OPTS += \
	-DCOMMONUTILITIES_BUILD_TOOLS=ON \
	-DCLI11_INCLUDE_DIR=$(STAGING_DIR)/usr/include \
	-DFMT_INCLUDE_DIR=$(STAGING_DIR)/usr/include \
	-DNLOHMANN_INCLUDE_DIR=$(STAGING_DIR)/usr/include
else
COMMONUTILITIES_CONF_OPTS += -DCOMMONUTILITIES_BUILD_TOOLS=OFF
endif

$(eval $(cmake-package))

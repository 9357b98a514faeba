################################################################################
#
# libvelmor
#
################################################################################

LIBVELMOR_VERSION = 3.0.0
LIBVELMOR_SITE = $(call qstrip,$(BR2_PACKAGE_LIBVELMOR_CHECKOUT))
LIBVELMOR_SITE_METHOD = local
LIBVELMOR_LICENSE = MIT
LIBVELMOR_LICENSE_FILES = LICENSE
LIBVELMOR_INSTALL_STAGING = YES
LIBVELMOR_SUPPORTS_IN_SOURCE_BUILD = NO

ifeq ($(BR2_PACKAGE_LIBVELMOR_TOOLS),y)
LIBVELMOR_CONF_OPTS += -DVELMOR_TOOLS=ON
LIBVELMOR_DEPENDENCIES += cli11 json-for-modern-cpp
else
LIBVELMOR_CONF_OPTS += -DVELMOR_TOOLS=OFF
endif

$(eval $(cmake-package))

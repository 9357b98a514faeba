################################################################################
#
# libvelmor
#
################################################################################

LIBVELMOR_VERSION = 3.0.0
LIBVELMOR_SITE = $(call qstrip,$(BR2_PACKAGE_LIBVELMOR_CHECKOUT))
LIBVELMOR_SITE_METHOD = local
# The checkout's own builds.
LIBVELMOR_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude=/build
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

ifeq ($(BR2_PACKAGE_LIBVELMOR)$(BR_BUILDING),yy)
ifeq ($(LIBVELMOR_SITE),)
$(error set BR2_PACKAGE_LIBVELMOR_CHECKOUT to a checkout of libvelmor)
endif
endif

$(eval $(cmake-package))

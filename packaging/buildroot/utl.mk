################################################################################
#
# utl
#
################################################################################

UTL_VERSION = 0.9.0
# The folder of the sources, two above this one unless the external tree says otherwise.
UTL_SITE = $(UTL_PKGDIR)/../..
UTL_SITE_METHOD = local
UTL_LICENSE = not yet granted
UTL_LICENSE_FILES = LICENSE
UTL_INSTALL_STAGING = YES
UTL_CONF_OPTS = -DUTL_BUILD_EXAMPLES=OFF

$(eval $(cmake-package))

# Two Debian packages and a tarball, made by cpack.
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME hoistline)
set(CPACK_PACKAGE_CONTACT ${MAINTAINER})
string(TOLOWER "hoistline-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" CPACK_PACKAGE_FILE_NAME)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/BeforePacking.cmake)

set(CPACK_COMPONENTS_ALL hoistline hoistline-gui)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_HOISTLINE_PACKAGE_NAME hoistline)
set(CPACK_DEBIAN_HOISTLINE_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/postinst
  ${CMAKE_SOURCE_DIR}/packaging/debian/postrm) # cpack's own would call ldconfig, which doesn't look there
set(CPACK_DEBIAN_HOISTLINE_DESCRIPTION "firmware loader for devices on an IEEE 1394 bus
hoistline finds the nodes of an IEEE 1394 bus, shows their config ROMs, loads
firmware packages into devices that run a Tarnwell bootloader and has the
device verify them. It works over the kernel's FireWire devices or on a
simulated bus.

This package has the command line, the libraries that access the bus, the
documents, and the udev rule that lets users reach the devices.")

set(CPACK_DEBIAN_HOISTLINE-GUI_PACKAGE_NAME hoistline-gui)
set(CPACK_DEBIAN_HOISTLINE-GUI_PACKAGE_DEPENDS "hoistline (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_HOISTLINE-GUI_PACKAGE_RECOMMENDS qt6-wayland)
set(CPACK_DEBIAN_HOISTLINE-GUI_DESCRIPTION "firmware loader for devices on an IEEE 1394 bus (windows)
HoistlineApp finds the nodes of an IEEE 1394 bus after each bus reset, shows
their config ROMs, loads firmware packages into devices that run a Tarnwell
bootloader, and works unattended on production lines.

This package has the program with windows.")
include(CPack)

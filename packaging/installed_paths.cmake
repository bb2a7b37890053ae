# SPDX-License-Identifier: Apache-2.0
# Run by the installation, which may have a prefix of its own: what names where it is installed, and what is left to do.
cmake_path(ABSOLUTE_PATH sbindir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
set(SCHEDD "${sbindir}/schedd")
set(unit "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/lib/systemd/system/schedd.service")
configure_file("${source}/systemd/schedd.service.in" "${unit}" @ONLY)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${CMAKE_INSTALL_PREFIX}/lib/systemd/system/schedd.service")
message(STATUS "Installing: ${unit}")

cmake_path(ABSOLUTE_PATH sysconfdir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
if(NOT sysconfdir STREQUAL "/etc")
  message(STATUS "A service of root, and PAM, read /etc alone: copy ${sysconfdir}/schedcli and ${sysconfdir}/pam.d/schedcli there")
endif()
if("$ENV{DESTDIR}" STREQUAL "" AND CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?$")
  message(STATUS "Now run ldconfig, so that other programs find the libraries")
endif()

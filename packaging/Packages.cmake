# The Debian packages: "cpack" in the build folder makes one for each component.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarn-logging)
set(QUARN_PACKAGE_CONTACT "The libQuarnLogging developers <quarn-logging@packages.invalid>" CACHE STRING
  "Maintainer of the packages: whoever hands them on")
set(CPACK_PACKAGE_CONTACT "${QUARN_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_VENDOR "The libQuarnLogging developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_STRIP_FILES ON)
# With DESTDIR, so that what is installed can name its final place.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquarnlogging)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquarnlogging-dev)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quarn-logging-tools)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared library, libQuarnLogging.so, that programs load.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake package, pkg-config file and manual page of the library.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "The reader of log queues in memory images, the set-up of reserved memory, and the format of log lines for lnav.")

# dpkg-shlibdeps finds the packages of the shared libraries that the programs use, by way of a script that also knows
# ACE for i386, which is not installed as a package.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libquarnlogging (= ${PROJECT_VERSION}), libace-dev")
# losetup, with which quarn-reserved-memory works.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS mount)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS lnav)
if(QUARN_ACE_LIBRARY_DIR)
  set(QUARN_SHLIBDEPS_FOLDER "'-l${QUARN_ACE_LIBRARY_DIR}'")
endif()
configure_file("${CMAKE_CURRENT_LIST_DIR}/dpkg-shlibdeps.in" packaging/dpkg-shlibdeps @ONLY
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
configure_file("${CMAKE_CURRENT_LIST_DIR}/CPackProject.cmake.in" packaging/CPackProject.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_BINARY_DIR}/packaging/CPackProject.cmake")

# The libraries' cache is to know the library as soon as it is unpacked.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/debian/triggers")

foreach(component IN ITEMS runtime development tools)
  string(TOUPPER ${component} upper)
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" RENAME copyright COMPONENT ${component}
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
endforeach()

include(CPack)

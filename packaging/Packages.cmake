# The Debian packages: "cpack" in the build folder makes one for each component.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarn-logging)
set(QUARN_PACKAGE_CONTACT "The libQuarnLogging developers <quarn-logging@packages.invalid>" CACHE STRING
  "Maintainer of the packages: whoever hands them on")
set(CPACK_PACKAGE_CONTACT "${QUARN_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_VENDOR "The libQuarnLogging developers")
set(CPACK_COMPONENTS_ALL runtime development tools)
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

# The first line is the summary.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "logging for control systems: the library
Threads of a real-time program log through a queue, without heap and without
output; a thread of low priority writes the console or rotating files. The
queue can lie in memory that outlives the process. A clock of the application
and a registry of live allocations belong to it.
.
This package has libQuarnLogging.so, which programs load.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "logging for control systems: development files
Threads of a real-time program log through a queue, without heap and without
output; a thread of low priority writes the console or rotating files.
.
This package has what programs are built with: headers, CMake package,
pkg-config file, the documents, examples that build alone, and the manual
page libquarnlogging(3).")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "logging for control systems: tools
Reads the log of programs that use libQuarnLogging out of reserved memory,
core files and memory snapshots, whether they run or have crashed, and
explains their options strings.
.
Also in this package: the set-up of reserved memory on an ordinary machine,
with a systemd unit and a udev rule, and the format of log lines for lnav.")

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

# Manual pages compressed, programs stripped, folders open to all.
configure_file("${CMAKE_CURRENT_LIST_DIR}/finish-packages.cmake.in" packaging/finish-packages.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_BINARY_DIR}/packaging/finish-packages.cmake")

# In Debian's forms: the licence, and a changelog, with the date in SOURCE_DATE_EPOCH where that is set.
string(TIMESTAMP QUARN_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file("${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in" packaging/changelog @ONLY)
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" QUARN_LICENSE)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" QUARN_COPYRIGHT "${QUARN_LICENSE}")
set(QUARN_COPYRIGHT "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^.*Copyright[^\n]*\n|\n$" "" QUARN_LICENSE "${QUARN_LICENSE}")
string(REPLACE "\n\n" "\n.\n" QUARN_LICENSE "${QUARN_LICENSE}") # the form's empty line
string(REPLACE "\n" "\n " QUARN_LICENSE "${QUARN_LICENSE}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in" packaging/copyright @ONLY)

foreach(component IN ITEMS runtime development tools)
  string(TOUPPER ${component} upper)
  set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
  install(FILES "${PROJECT_BINARY_DIR}/packaging/copyright" "${PROJECT_BINARY_DIR}/packaging/changelog"
    DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}" COMPONENT ${component})
  # What lintian may say of the package, each with its reason.
  if(EXISTS "${CMAKE_CURRENT_LIST_DIR}/debian/${package}.lintian-overrides")
    install(FILES "${CMAKE_CURRENT_LIST_DIR}/debian/${package}.lintian-overrides" RENAME "${package}"
      DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides" COMPONENT ${component})
  endif()
endforeach()

include(CPack)

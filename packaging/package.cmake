# SPDX-License-Identifier: Apache-2.0
# Debian packages, a component each: libjorn1, libjorn-dev, and jorn with the tool.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME jorn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "JORN maintainers <maintainers@example.org>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development tool)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# Each package has its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libjorn${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# The trigger does what CPack would have scripts do, unless there are some: these two are named, but are not there.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/debian/triggers
  ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "log store for embedded devices - shared library
JORN keeps log items in rings of CSV files: tasks submit items without ever
waiting, one background task writes them, and queries count the items that
match and page through them, newest first.
.
This package has the library for programs on Linux.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libjorn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}), libc6-dev, libstdc++-12-dev | libstdc++-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "log store for embedded devices - development files
JORN keeps log items in rings of CSV files: tasks submit items without ever
waiting, one background task writes them, and queries count the items that
match and page through them, newest first.
.
This package has the headers for C and C++, the static library, and what CMake
and pkg-config need to find them.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME jorn)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "less, lnav")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "records logs into rings of CSV files and reads them back
JORN keeps log items in rings of CSV files, on embedded devices and on Linux.
.
This package has the tool jorn, which records what programs print, finds,
counts and shows items, also in a browser, and mends logs that power cuts
have damaged.")

# The same bytes from the same sources: no file is newer than the release.
file(STRINGS ${PROJECT_SOURCE_DIR}/packaging/debian/changelog JORN_RELEASE_DATE REGEX "^ -- " LIMIT_COUNT 1)
string(REGEX REPLACE ".*>  " "" JORN_RELEASE_DATE "${JORN_RELEASE_DATE}")
execute_process(COMMAND date --date=${JORN_RELEASE_DATE} +%s OUTPUT_VARIABLE JORN_RELEASE_TIME
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(${PROJECT_SOURCE_DIR}/packaging/release_time.cmake.in ${PROJECT_BINARY_DIR}/release_time.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/release_time.cmake)

set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian_layout.cmake)
set(CPACK_JORN_PACKAGING_FOLDER ${PROJECT_SOURCE_DIR}/packaging/debian)
include(CPack)

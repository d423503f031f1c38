# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where, in components: library, development and tool.
include(CMakePackageConfigHelpers)

add_library(jorn::jorn ALIAS jorn_shared)
add_library(jorn::static ALIAS jorn_archive)
set_target_properties(jorn_shared PROPERTIES EXPORT_NAME jorn)
set_target_properties(jorn_archive PROPERTIES EXPORT_NAME static)

install(TARGETS jorn_shared EXPORT jorn_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS jorn_archive EXPORT jorn_targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
foreach(target jorn_shared jorn_archive)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/include/jorn.h ${PROJECT_SOURCE_DIR}/include/jorn.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# For find_package(jorn).
set(JORN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/jorn)
install(EXPORT jorn_targets NAMESPACE jorn:: FILE jornTargets.cmake
  DESTINATION ${JORN_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/jornConfig.cmake.in
  ${PROJECT_BINARY_DIR}/jornConfig.cmake
  INSTALL_DESTINATION ${JORN_CMAKE_DIR} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/jornConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/jornConfig.cmake ${PROJECT_BINARY_DIR}/jornConfigVersion.cmake
  DESTINATION ${JORN_CMAKE_DIR} COMPONENT development)

# For pkg-config; the prefix is derived from the place of the file.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE JORN_LIBDIR)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE JORN_INCLUDEDIR)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE JORN_PREFIX_FROM_PC)
configure_file(${PROJECT_SOURCE_DIR}/cmake/jorn.pc.in ${PROJECT_BINARY_DIR}/jorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/jorn.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# A Debian package refers to the licence instead of containing it.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT licence)
install(FILES ${PROJECT_SOURCE_DIR}/docs/api.md ${PROJECT_SOURCE_DIR}/docs/formats.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

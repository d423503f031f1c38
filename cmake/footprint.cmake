# SPDX-License-Identifier: Apache-2.0
# What the device's object exports, imports and takes: checked and printed with every build.
add_library(jorn_record_sizes OBJECT cmake/record_sizes.cpp)
target_include_directories(jorn_record_sizes PRIVATE src include)
target_link_libraries(jorn_record_sizes PRIVATE jorn_options)

set(JORN_LINKAGE ${PROJECT_SOURCE_DIR}/tests/linkage)
add_custom_target(jorn_footprint ALL
  COMMAND ${JORN_LINKAGE}/check_exports.sh ${CMAKE_NM} ${JORN_EXPORTS} ${JORN_RELOCATABLE}
  COMMAND ${JORN_LINKAGE}/check_imports.sh ${CMAKE_NM} ${JORN_RELOCATABLE}
          ${JORN_LINKAGE}/imports.txt ${JORN_LINKAGE}/imports-arm.txt ${JORN_LINKAGE}/imports-newlib.txt
  COMMAND ${PROJECT_SOURCE_DIR}/scripts/footprint ${CMAKE_NM} ${CMAKE_OBJDUMP} ${JORN_RELOCATABLE}
          $<TARGET_OBJECTS:jorn_record_sizes> ${PROJECT_BINARY_DIR}/CMakeFiles/jorn_module.dir
  COMMAND ${PROJECT_SOURCE_DIR}/scripts/stack-report --build ${PROJECT_BINARY_DIR}
  DEPENDS ${JORN_RELOCATABLE} jorn_record_sizes
  VERBATIM USES_TERMINAL
  COMMENT "Footprint of jorn.o")
add_dependencies(jorn_footprint jorn_relocatable)
